// What the helper demands of a client's signature.
#pragma once

#include <algorithm>
#include <optional>
#include <string>

#include "protocol/build_constants.h"

namespace velmora {

// The requirement for clients of `teamIdentifier`, in Apple's code signing requirement language;
// nothing unless that is one or more ASCII letters and digits. It is spliced into the text
// unescaped, so nothing else may pass.
inline std::optional<std::string> codeSigningRequirementForTeam(const std::string& teamIdentifier) {
  const auto isASCIILetterOrDigit = [](char character) {
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
           (character >= '0' && character <= '9');
  };
  if (teamIdentifier.empty() || !std::ranges::all_of(teamIdentifier, isASCIILetterOrDigit)) {
    return std::nullopt;
  }
  return std::string("identifier \"") + ClientBundleIdentifier +
         "\" and anchor apple generic and certificate leaf[subject.OU] = \"" + teamIdentifier +
         "\"";
}

}  // namespace velmora
