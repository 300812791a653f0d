#include "front/maintenance_helper_listener_delegate.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "front/maintenance_helper_service.h"
#include "protocol/build_constants.h"

namespace velmora {

MaintenanceHelperListenerDelegate::MaintenanceHelperListenerDelegate()
    : logger_(HelperServiceName, "XPC") {}

bool MaintenanceHelperListenerDelegate::listenerShouldAcceptNewConnection(
    XPCConnection& connection) {
  const std::optional<std::string> requirement = validator_.codeSigningRequirement();
  if (!requirement) {
    logger_.error("Rejected an XPC client: the helper couldn't read its own team");
    return false;
  }
  connection.setCodeSigningRequirement(*requirement);
  connection.setExportedInterface();
  const std::uint32_t clientUserIdentifier = connection.effectiveUserIdentifier();
  connection.setExportedObject(std::make_unique<MaintenanceHelperService>(clientUserIdentifier));
  connection.resume();
  return true;
}

}  // namespace velmora
