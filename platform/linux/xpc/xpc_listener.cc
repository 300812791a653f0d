#include <optional>
#include <thread>
#include <utility>

#include "platform/linux/xpc/accepting_socket.h"
#include "platform/linux/xpc/accountable_users.h"
#include "platform/linux/xpc/admission_turns.h"
#include "platform/linux/xpc/bus.h"
#include "platform/linux/xpc/connection_limits.h"
#include "platform/linux/xpc/listening_socket.h"
#include "platform/linux/xpc/peer_process.h"
#include "platform/linux/xpc/server_connection.h"
#include "platform/xpc.h"

namespace velmora {

class XPCListener::Implementation {
 public:
  explicit Implementation(std::string machServiceName) : name_(std::move(machServiceName)) {}

  void setDelegate(XPCListenerDelegate& delegate) { delegate_ = &delegate; }

  void resume() {
    socket_.emplace(openListeningSocket(busSocketPath(name_)));
    resumed_ = this;
  }

  [[noreturn]] static void serveResumed() {
    for (;;) resumed_->startServing(resumed_->socket_->accept());
  }

 private:
  // Gives a newcomer a thread of its own. Over a limit, or out of threads or memory, it is closed.
  void startServing(FileDescriptor socket) noexcept {
    try {
      const uid_t user = users_.accountableFor(credentialsAtOtherEnd(socket.get()).uid);
      std::optional<ConnectionLimits::Place> place = limits_.take(user);
      if (!place) return;
      std::thread([this, user, socket = std::move(socket), place = std::move(place)]() mutable {
        serve(std::move(socket), user);
      }).detach();
    } catch (...) {
      // Only this newcomer suffers.
    }
  }

  void serve(FileDescriptor socket, uid_t user) noexcept {
    try {
      ServerConnection connection(std::move(socket));
      if (admit(connection, user)) connection.serve();
    } catch (...) {
      // Only this connection ends.
    }
  }

  // The listener's queue: the connection's own thread asks, so that a flood of newcomers cannot
  // hold up the taking of connections, but one at a time. The peer is checked here too: its
  // signature costs as much as the helper's own, and only the processor's share would be left to
  // tell users apart.
  bool admit(ServerConnection& connection, uid_t user) {
    const AdmissionTurns::Turn turn = turns_.wait(user);
    return delegate_ != nullptr && delegate_->listenerShouldAcceptNewConnection(connection) &&
           connection.peerIsAdmitted();
  }

  static inline Implementation* resumed_ = nullptr;

  const std::string name_;
  XPCListenerDelegate* delegate_ = nullptr;
  std::optional<AcceptingSocket> socket_;
  AccountableUsers users_;  // of the thread that takes connections alone
  ConnectionLimits limits_;
  AdmissionTurns turns_;
};

XPCListener::XPCListener(std::string machServiceName)
    : implementation_(std::make_unique<Implementation>(std::move(machServiceName))) {}
XPCListener::~XPCListener() = default;

void XPCListener::setDelegate(XPCListenerDelegate& delegate) {
  implementation_->setDelegate(delegate);
}

void XPCListener::resume() {
  implementation_->resume();
}

void runRunLoop() {
  XPCListener::Implementation::serveResumed();
}

}  // namespace velmora
