#include "platform/darwin/xpc/requirement_on_helper.h"

#include <optional>

#include "platform/code_requirement_text.h"
#include "platform/code_signing.h"
#include "platform/xpc.h"

namespace velmora {

std::string requirementOnHelper(const std::string& machServiceName) {
  const std::optional<Code> self = codeCopySelf();
  const std::optional<StaticCode> onDisk = self ? codeCopyStaticCode(*self) : std::nullopt;
  const auto information = onDisk ? codeCopySigningInformation(*onDisk) : std::nullopt;
  const std::string team = information ? information->teamIdentifier.value_or("") : "";
  const auto requirement = codeRequirementText(machServiceName, team);
  if (!requirement) {
    throw XPCConnectionError(
        "This program is not signed by a development team, so the helper would not let it in.");
  }
  return *requirement;
}

}  // namespace velmora
