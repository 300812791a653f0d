// Owners of the bus library's objects, and the names under which the protocol is found on a bus:
// D-Bus wire protocol, peer to peer, on a socket of the service's own. sd-bus(3).
#pragma once

#include <sys/un.h>
#include <systemd/sd-bus.h>

#include <memory>
#include <string>

namespace velmora {

struct BusDeleter {
  // Closes without flushing: a peer that does not read must not keep its connection's thread.
  void operator()(sd_bus* bus) const { ::sd_bus_close_unref(bus); }
};
using Bus = std::unique_ptr<sd_bus, BusDeleter>;

struct BusMessageDeleter {
  void operator()(sd_bus_message* message) const { ::sd_bus_message_unref(message); }
};
using BusMessage = std::unique_ptr<sd_bus_message, BusMessageDeleter>;

inline constexpr const char* busObjectPath = "/";

// The vendor's prefix and the protocol's name.
const std::string& busInterface();

// "/run/<service name>.socket"
std::string busSocketPath(const std::string& machServiceName);

// The address of the local socket at `path`. Raises PlatformError when the path is too long.
sockaddr_un socketAddress(const std::string& path);

// A new bus, not started. Raises PlatformError.
Bus newBus();

// Raises PlatformError when `result` of a bus call is a negative errno.
void checkBus(int result);

}  // namespace velmora
