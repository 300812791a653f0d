#include "platform/linux/xpc/accepting_socket.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include "platform/platform_error.h"

namespace velmora {
namespace {

constexpr std::chrono::milliseconds pause(20);

FileDescriptor openSpare() {
  return FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
}

}  // namespace

AcceptingSocket::AcceptingSocket(FileDescriptor listening)
    : listening_(std::move(listening)), spare_(openSpare()) {
  if (!spare_.isOpen()) throw PlatformError("open", "/dev/null", errno);
  // A newcomer may be gone between poll and accept, which must not wait then.
  const int flags = ::fcntl(listening_.get(), F_GETFL);
  if (flags < 0 || ::fcntl(listening_.get(), F_SETFL, flags | O_NONBLOCK) < 0) {
    throw PlatformError("prepare", "the listening socket", errno);
  }
}

FileDescriptor AcceptingSocket::acceptOnce() {
  return FileDescriptor(::accept4(listening_.get(), nullptr, nullptr, SOCK_CLOEXEC));
}

FileDescriptor AcceptingSocket::accept() {
  for (;;) {
    pollfd newcomer{listening_.get(), POLLIN, 0};
    if (::poll(&newcomer, 1, -1) < 0) {
      if (errno != EINTR) std::this_thread::sleep_for(pause);
      continue;
    }
    FileDescriptor connection = acceptOnce();
    if (connection.isOpen()) return connection;
    if (errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS) refuseNewcomer();
    // Another holder may have shut the socket down, which poll then reports without end.
    if (newcomer.revents != POLLIN) std::this_thread::sleep_for(pause);
  }
}

void AcceptingSocket::refuseNewcomer() {
  spare_.reset();
  const bool refused = acceptOnce().isOpen();
  spare_ = openSpare();
  // When even that cannot be had, the newcomer still waits, and trying again at once would spin.
  if (!refused || !spare_.isOpen()) std::this_thread::sleep_for(pause);
}

}  // namespace velmora
