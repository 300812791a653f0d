#include "front/maintenance_client_validator.h"

#include <algorithm>

#include "platform/code_signing.h"
#include "protocol/build_constants.h"

namespace velmora {
namespace {

bool isASCIILetterOrDigit(char character) {
  return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
         (character >= '0' && character <= '9');
}

}  // namespace

std::optional<std::string> MaintenanceClientValidator::currentTeamIdentifier() const {
  const std::optional<Code> self = codeCopySelf();
  if (!self) return std::nullopt;
  const std::optional<StaticCode> onDisk = codeCopyStaticCode(*self);
  if (!onDisk) return std::nullopt;
  if (!staticCodeCheckValidity(*onDisk)) return std::nullopt;
  const std::optional<SigningInformation> information = codeCopySigningInformation(*onDisk);
  if (!information) return std::nullopt;
  return information->teamIdentifier;
}

std::optional<std::string> MaintenanceClientValidator::codeSigningRequirement() const {
  const std::optional<std::string> teamIdentifier = currentTeamIdentifier();
  if (!teamIdentifier) return std::nullopt;
  return codeSigningRequirementForTeam(*teamIdentifier);
}

std::optional<std::string> codeSigningRequirementForTeam(const std::string& teamIdentifier) {
  if (teamIdentifier.empty() || !std::ranges::all_of(teamIdentifier, isASCIILetterOrDigit)) {
    return std::nullopt;
  }
  return std::string("identifier \"") + ClientBundleIdentifier +
         "\" and anchor apple generic and certificate leaf[subject.OU] = \"" + teamIdentifier +
         "\"";
}

}  // namespace velmora
