#include "platform/linux/xpc/bus.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

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

sockaddr_un socketAddress(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) throw PlatformError("open", path, ENAMETOOLONG);
  std::ranges::copy(path, address.sun_path);
  return address;
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
