// A requirement text that is not understood to the last character must be refused: what is passed
// over would be a condition that nobody checks.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <regex>
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const bool accepted = isAccepted(text);
  if (isAccepted(text) != accepted || isAccepted(text + ")")) std::abort();
  if (accepted && !isAccepted(text + " and " + text)) std::abort();

  // The expression matcher of the library takes stack for every character.
  if (!accepted || size > 4096) return 0;
  static const std::regex known(R"re(( |and|anchor +apple +generic|identifier *"[^"\\]*"|)re"
                                R"re(certificate +leaf *\[ *subject\.OU *\] *= *"[^"\\]*")*)re");
  if (!std::regex_match(text, known)) std::abort();
  return 0;
}
