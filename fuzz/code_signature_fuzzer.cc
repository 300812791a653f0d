// Nothing but the seeds' own description may ever be trusted: the key of the authority that two of
// them lead to is gone.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/linux/code_signing/code_signature.h"
#include "platform/portable/code_requirement/code_requirement.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using velmora::CodeRequirement;
  using velmora::CodeSignature;
  static const CodeRequirement seed = CodeRequirement::parse(
      "identifier \"com.velmora.app\" and certificate leaf[subject.OU] = \"TEAM42\"");

  const auto signature =
      CodeSignature::parse(std::string_view(reinterpret_cast<const char*>(data), size));
  if (!signature) return 0;
  if (size > CodeSignature::maximumBytes || signature->identifier().empty()) std::abort();
  if (!signature->isTrusted()) return 0;
  const bool forged = !seed.isSatisfiedBy(signature->identifier(), signature->teamIdentifier()) ||
                      signature->executableSize() != 4096 ||
                      signature->executableDigest() != velmora::SHA256Digest{};
  if (forged) std::abort();
  return 0;
}
