#include "platform/linux/bus.h"

#include "platform/platform_error.h"
#include "protocol/build_constants.h"

namespace velmora {

const std::string& busInterface() {
  static const std::string interface =
      std::string(VendorLabelPrefix) + "VelmoraMaintenanceHelperXPC";
  return interface;
}

std::string busSocketPath(const std::string& machServiceName) {
  return "/run/" + machServiceName + ".socket";
}

Bus newBus() {
  sd_bus* bus = nullptr;
  checkBus(::sd_bus_new(&bus));
  return Bus(bus);
}

void checkBus(int result) {
  if (result < 0) throw PlatformError("use", "the bus connection", -result);
}

}  // namespace velmora
