// A requirement text that is not understood to the last character must be refused: what is passed
// over would be a condition that nobody checks.
#include <regex.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/platform_error.h"
#include "platform/portable/code_requirement/code_requirement.h"

namespace {

bool isAccepted(std::string_view text) {
  try {
    (void)velmora::CodeRequirement::parse(text);
    return true;
  } catch (const velmora::PlatformError&) {
    return false;
  }
}

regex_t compiled(const char* pattern) {
  regex_t expression;
  if (::regcomp(&expression, pattern, REG_EXTENDED) != 0) std::abort();
  return expression;
}

// To the last byte, be it NUL.
bool isWhollyMatchedBy(const regex_t& expression, const std::string& text) {
  regmatch_t match{0, static_cast<regoff_t>(text.size())};
  return ::regexec(&expression, text.data(), 1, &match, REG_STARTEND) == 0 && match.rm_so == 0 &&
         static_cast<std::size_t>(match.rm_eo) == text.size();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const bool accepted = isAccepted(text);
  if (isAccepted(text) != accepted || isAccepted(text + ")")) std::abort();
  if (accepted && !isAccepted(text + " and " + text)) std::abort();

  if (!accepted || size > 4096) return 0;  // the matcher takes memory for every byte
  static const regex_t known =
      compiled(R"re(^( |and|anchor +apple +generic|identifier *"[^"\\]*"|)re"
               R"re(certificate +leaf *\[ *subject\.OU *\] *= *"[^"\\]*")*$)re");
  if (!isWhollyMatchedBy(known, text)) std::abort();
  return 0;
}
