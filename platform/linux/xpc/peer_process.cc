#include "platform/linux/xpc/peer_process.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

extern "C" {
#include <sys/pidfd.h>  // glibc 2.36 forgets that C++ may include it
}

#include <array>
#include <cerrno>
#include <climits>
#include <string>
#include <utility>

#include "platform/linux/code_signing/signed_executable.h"
#include "platform/platform_error.h"
#include "platform/portable/code_requirement/code_requirement.h"

#ifndef SO_PEERPIDFD
#define SO_PEERPIDFD 77  // since Linux 6.5; missing from Debian 12's headers
#endif

namespace velmora {
namespace {

constexpr const char* executable = "exe";

FileDescriptor openPeerProcess(int socket, pid_t process) {
  int descriptor = -1;
  socklen_t size = sizeof descriptor;
  if (::getsockopt(socket, SOL_SOCKET, SO_PEERPIDFD, &descriptor, &size) == 0) {
    return FileDescriptor(descriptor);
  }
  // An older kernel only tells the number, which may have passed on to another process by now.
  return FileDescriptor(errno == ENOPROTOOPT ? ::pidfd_open(process, 0) : -1);
}

// A process that has ended still has a descriptor; it reads as ready.
bool isAlive(int socket, pid_t process) {
  const FileDescriptor descriptor = openPeerProcess(socket, process);
  pollfd end{descriptor.get(), POLLIN, 0};
  return descriptor.isOpen() && ::poll(&end, 1, 0) == 0;
}

FileDescriptor openFolder(int socket, pid_t process) {
  FileDescriptor folder(
      ::open(("/proc/" + std::to_string(process)).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  // Only now: a number that has passed on to another process shows that process's folder.
  if (!isAlive(socket, process)) folder.reset();
  return folder;
}

// Where the link `name` in `folder` leads; empty when it cannot be read.
std::string targetOf(const FileDescriptor& folder, const char* name) {
  std::array<char, PATH_MAX> target;
  const ssize_t size = ::readlinkat(folder.get(), name, target.data(), target.size());
  return {target.data(), size < 0 ? 0 : static_cast<std::size_t>(size)};
}

}  // namespace

ucred credentialsAtOtherEnd(int socket) {
  ucred credentials{};
  socklen_t size = sizeof credentials;
  if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
    throw PlatformError("identify", "the client", errno);
  }
  return credentials;
}

PeerProcess::PeerProcess(int socket) : PeerProcess(socket, credentialsAtOtherEnd(socket)) {}

PeerProcess::PeerProcess(int socket, const ucred& credentials)
    : folder_(openFolder(socket, credentials.pid)), user_(credentials.uid) {}

bool PeerProcess::satisfies(const CodeRequirement& requirement) {
  struct stat status {};
  if (genuineExecutable_ && ::fstatat(folder_.get(), executable, &status, 0) == 0 &&
      FileIdentity(status) == *genuineExecutable_) {
    return true;
  }
  // The same process may run another program by now, or one that was put in its place.
  genuineExecutable_.reset();
  return checkWholly(requirement);
}

bool PeerProcess::checkWholly(const CodeRequirement& requirement) {
  FileDescriptor file(::openat(folder_.get(), executable, O_RDONLY | O_CLOEXEC));
  const std::string path = targetOf(folder_, executable);
  struct stat status {};
  if (!file.isOpen() || path.empty() || ::fstat(file.get(), &status) != 0) return false;
  if (!SignedExecutable(std::move(file), path).isValid(&requirement)) return false;
  genuineExecutable_ = FileIdentity(status);
  return true;
}

}  // namespace velmora
