#include "front/maintenance_helper_listener_delegate.h"

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
  connection.setExportedObject(
      std::make_unique<MaintenanceHelperService>(connection.effectiveUserIdentifier()));
  connection.resume();
  return true;
}

}  // namespace velmora
