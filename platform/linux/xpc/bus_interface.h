// The protocol's methods as members of a D-Bus interface: decodes a call, hands it to the
// exported object and encodes the answer.
#pragma once

#include "platform/linux/xpc/bus.h"
#include "protocol/velmora_maintenance_helper_xpc.h"

namespace velmora {

class ExportedInterface {
 public:
  explicit ExportedInterface(VelmoraMaintenanceHelperXPC& object) : object_(object) {}
  ExportedInterface(const ExportedInterface&) = delete;
  ExportedInterface& operator=(const ExportedInterface&) = delete;

  // Makes the object callable through `bus`, which must not outlive this one.
  // Raises PlatformError.
  void addTo(sd_bus* bus);

  // True once a call could not be answered, or once its peer is no longer admitted: the
  // connection must end then.
  bool isBroken() const { return broken_; }
  void setBroken() { broken_ = true; }

  VelmoraMaintenanceHelperXPC& object() { return object_; }

 private:
  VelmoraMaintenanceHelperXPC& object_;
  bool broken_ = false;
};

}  // namespace velmora
