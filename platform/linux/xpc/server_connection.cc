#include "platform/linux/xpc/server_connection.h"

#include <poll.h>

#include <cerrno>
#include <cstdint>
#include <utility>

#include "platform/deadline.h"
#include "platform/linux/xpc/bus_interface.h"
#include "platform/memory.h"

namespace velmora {
namespace {

// Started as the server of a peer-to-peer connection, which takes `socket` over. Descriptors sent
// along with messages are refused: they would cost the helper its own.
Bus startServer(FileDescriptor socket) {
  sd_id128_t identifier{};
  checkBus(::sd_id128_randomize(&identifier));
  Bus bus = newBus();
  checkBus(::sd_bus_set_server(bus.get(), 1, identifier));
  checkBus(::sd_bus_negotiate_fds(bus.get(), 0));
  checkBus(::sd_bus_set_fd(bus.get(), socket.get(), socket.get()));
  (void)socket.release();  // the bus closes it from now on
  checkBus(::sd_bus_start(bus.get()));
  return bus;
}

// Waits until the peer has taken every reply: one that does not read gets no further call served,
// and nothing more is kept for it. Not by sd_bus_flush, which also wakes for calls that have come
// meanwhile, and would spin. Returns false when the connection is lost.
bool deliverReplies(sd_bus* bus) {
  std::uint64_t queued = 0;
  while (::sd_bus_get_n_queued_write(bus, &queued) >= 0 && queued > 0) {
    pollfd socket{::sd_bus_get_fd(bus), POLLOUT, 0};
    if (::poll(&socket, 1, -1) < 0 && errno != EINTR) return false;
    if (::sd_bus_process(bus, nullptr) < 0) return false;
  }
  return true;
}

// Waits for something to do: for ever once the peer is authenticated. Returns false when there
// will be nothing, or the time for authentication is up.
bool waitForMore(sd_bus* bus, Deadline authenticationDeadline) {
  std::uint64_t waitMicroseconds = UINT64_MAX;
  if (::sd_bus_is_ready(bus) == 0) {
    const double remainingSeconds = authenticationDeadline.remainingSeconds();
    if (remainingSeconds <= 0) return false;
    waitMicroseconds = static_cast<std::uint64_t>(remainingSeconds * 1e6) + 1;
  }
  const int result = ::sd_bus_wait(bus, waitMicroseconds);
  return result >= 0 || result == -EINTR;
}

// Whether no more memory is left than the system's reserve.
bool isMemoryShort() {
  constexpr std::uint64_t reserveBegins = 8 << 20;
  return spareMemoryBytes() < reserveBegins;
}

}  // namespace

// Stands before the exported object: each message is let through only for a genuine peer.
class ServerConnection::ExportedObject : public ExportedInterface {
 public:
  explicit ExportedObject(ServerConnection& connection)
      : ExportedInterface(*connection.object_), connection_(connection) {}

  // A filter runs before everything else that answers, introspection included.
  static int filter(sd_bus_message* message, void* userdata, sd_bus_error* /*error*/) noexcept {
    auto& self = *static_cast<ExportedObject*>(userdata);
    self.messageHasCome_ = true;
    try {
      // The bus's own word that the connection has ended comes after the socket is closed, when
      // its number may already be another client's.
      const bool isOpen = ::sd_bus_is_open(::sd_bus_message_get_bus(message)) > 0;
      if (isOpen && !self.isBroken() && self.connection_.peerIsAdmitted()) return 0;
    } catch (...) {
      // Out of descriptors or memory: a peer that cannot be checked is not served.
    }
    self.setBroken();
    return 1;
  }

  // Ends the connection also when memory is short and only a part of a message has come: the bus
  // keeps what has come of one, up to 128 MiB, and each of a user's connections can have its own.
  // A usual call is small enough to come whole.
  void processUntilClosed(sd_bus* bus, Deadline authenticationDeadline) {
    while (!isBroken() && deliverReplies(bus)) {
      const bool isAuthenticated = ::sd_bus_is_ready(bus) > 0;
      messageHasCome_ = false;
      const int result = ::sd_bus_process(bus, nullptr);
      if (result < 0) return;
      const bool onlyPartHasCome = isAuthenticated && result > 0 && !messageHasCome_;
      if (onlyPartHasCome && isMemoryShort()) return;
      if (result == 0 && !waitForMore(bus, authenticationDeadline)) return;
    }
  }

 private:
  ServerConnection& connection_;
  bool messageHasCome_ = false;
};

ServerConnection::ServerConnection(FileDescriptor socket)
    : socket_(std::move(socket)), peer_(socket_.get()) {}

void ServerConnection::setCodeSigningRequirement(const std::string& requirement) {
  requirement_ = CodeRequirement::parse(requirement);
}

void ServerConnection::setExportedObject(std::unique_ptr<VelmoraMaintenanceHelperXPC> object) {
  object_ = std::move(object);
}

std::uint32_t ServerConnection::effectiveUserIdentifier() const {
  return peer_.effectiveUserIdentifier();
}

// Without a requirement nobody is: forgetting to set one must not open the helper to everyone.
bool ServerConnection::peerIsAdmitted() {
  return resumed_ && object_ && requirement_ && peer_.satisfies(*requirement_);
}

void ServerConnection::serve() {
  const Deadline authenticationDeadline = Deadline::after(authenticationSeconds);
  ExportedObject exported(*this);
  const Bus bus = startServer(std::move(socket_));
  checkBus(::sd_bus_add_filter(bus.get(), nullptr, ExportedObject::filter, &exported));
  exported.addTo(bus.get());
  exported.processUntilClosed(bus.get(), authenticationDeadline);
}

}  // namespace velmora
