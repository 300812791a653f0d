#include "front/maintenance_client_validator.h"

#include "platform/code_requirement_text.h"
#include "platform/code_signing.h"
#include "protocol/build_constants.h"

namespace velmora {

std::optional<std::string> MaintenanceClientValidator::currentTeamIdentifier() const {
  const std::optional<Code> self = codeCopySelf();
  if (!self) return std::nullopt;
  const std::optional<StaticCode> onDisk = codeCopyStaticCode(*self);
  if (!onDisk) return std::nullopt;
  // The team of a file that has been altered is whatever its alterer likes.
  if (!staticCodeCheckValidity(*onDisk)) return std::nullopt;
  const std::optional<SigningInformation> information = codeCopySigningInformation(*onDisk);
  if (!information) return std::nullopt;
  return information->teamIdentifier;
}

std::optional<std::string> MaintenanceClientValidator::codeSigningRequirement() const {
  const std::optional<std::string> teamIdentifier = currentTeamIdentifier();
  if (!teamIdentifier) return std::nullopt;
  return codeRequirementText(ClientBundleIdentifier, *teamIdentifier);
}

}  // namespace velmora
