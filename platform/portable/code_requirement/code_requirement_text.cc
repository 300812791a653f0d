#include "platform/code_requirement_text.h"

#include <algorithm>

#include "platform/portable/text/ascii.h"

namespace velmora {

std::optional<std::string> codeRequirementText(const std::string& identifier,
                                               const std::string& teamIdentifier) {
  if (teamIdentifier.empty() || !std::ranges::all_of(teamIdentifier, isASCIILetterOrDigit)) {
    return std::nullopt;
  }
  return "identifier \"" + identifier +
         "\" and anchor apple generic and certificate leaf[subject.OU] = \"" + teamIdentifier +
         "\"";
}

}  // namespace velmora
