// Admission: decides for each new connection whether it is served, by whose signature, and gives
// it a service object bound to its user. Keeps nothing about connections.
#pragma once

#include "front/maintenance_client_validator.h"
#include "platform/logger.h"
#include "platform/xpc.h"

namespace velmora {

class MaintenanceHelperListenerDelegate final : public XPCListenerDelegate {
 public:
  MaintenanceHelperListenerDelegate();

  // Refuses every connection, and says so in the log, while the helper's own signature does not
  // tell its team. Otherwise installs the requirement on the connection, which the platform
  // enforces, and accepts.
  bool listenerShouldAcceptNewConnection(XPCConnection& connection) override;

 private:
  MaintenanceClientValidator validator_;
  Logger logger_;
};

}  // namespace velmora
