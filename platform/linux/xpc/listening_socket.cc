#include "platform/linux/xpc/listening_socket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <cerrno>

#include "platform/linux/xpc/bus.h"
#include "platform/platform_error.h"

namespace velmora {
namespace {

constexpr mode_t everyone = 0666;

FileDescriptor inheritedSocket() {
  // Unsetting the variables keeps them from the tools that the helper starts.
  const int count = ::sd_listen_fds(1);
  if (count == 0) return {};
  // Negative where the variables name what is no descriptor: whoever set them means this helper to
  // be reached by that socket, and would wait for ever before another one.
  if (count != 1 || ::sd_is_socket_unix(SD_LISTEN_FDS_START, SOCK_STREAM, 1, nullptr, 0) <= 0) {
    throw PlatformError("use", "the descriptors the helper was started with",
                        "expected one listening local socket");
  }
  return FileDescriptor(SD_LISTEN_FDS_START);
}

FileDescriptor newSocket(const std::string& path, int flags = 0) {
  FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
  if (!socket.isOpen()) throw PlatformError("open", path, errno);
  return socket;
}

bool bindTo(const FileDescriptor& socket, const sockaddr_un& address) {
  return ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

// Removes a socket that was left behind; leaves alone whatever else is in its place.
void removeStaleSocket(const std::string& path, const sockaddr_un& address) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) throw PlatformError("open", path, errno);
  if (!S_ISSOCK(status.st_mode)) throw PlatformError("open", path, EEXIST);
  // Without waiting: a helper that is stopped may have as many newcomers as it can hold.
  const FileDescriptor knocking = newSocket(path, SOCK_NONBLOCK);
  const int result =
      ::connect(knocking.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
  if (result == 0 || errno == EAGAIN)
    throw PlatformError("open", path, "another helper already serves it");
  if (errno != ECONNREFUSED) throw PlatformError("open", path, errno);
  if (::unlink(path.c_str()) != 0) throw PlatformError("replace", path, errno);
}

}  // namespace

FileDescriptor openListeningSocket(const std::string& path) {
  FileDescriptor inherited = inheritedSocket();
  if (inherited.isOpen()) return inherited;

  const sockaddr_un address = socketAddress(path);
  FileDescriptor socket = newSocket(path);
  if (!bindTo(socket, address)) {
    if (errno != EADDRINUSE) throw PlatformError("open", path, errno);
    removeStaleSocket(path, address);
    if (!bindTo(socket, address)) throw PlatformError("open", path, errno);
  }
  // Anyone may knock; admission decides.
  if (::chmod(path.c_str(), everyone) != 0 || ::listen(socket.get(), SOMAXCONN) != 0) {
    throw PlatformError("open", path, errno);
  }
  return socket;
}

}  // namespace velmora
