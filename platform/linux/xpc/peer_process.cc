#include "platform/linux/xpc/peer_process.h"

#include <fcntl.h>
#include <poll.h>

extern "C" {
#include <sys/pidfd.h>  // glibc 2.36 forgets that C++ may include it
}

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

#include "platform/file_descriptor.h"
#include "platform/linux/code_signing/signed_executable.h"
#include "platform/platform_error.h"
#include "platform/portable/code_requirement.h"

#ifndef SO_PEERPIDFD
#define SO_PEERPIDFD 77  // since Linux 6.5; missing from Debian 12's headers
#endif

namespace velmora {
namespace {

FileDescriptor openPeerProcess(int socket, pid_t process) {
  int descriptor = -1;
  socklen_t size = sizeof descriptor;
  if (::getsockopt(socket, SOL_SOCKET, SO_PEERPIDFD, &descriptor, &size) == 0) {
    return FileDescriptor(descriptor);
  }
  // An older kernel only tells the number, which may have passed on to another process by now.
  return FileDescriptor(errno == ENOPROTOOPT ? ::pidfd_open(process, 0) : -1);
}

std::string executableLink(pid_t process) {
  return "/proc/" + std::to_string(process) + "/exe";
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

PeerProcess::PeerProcess(int socket) : socket_(socket), process_(0), user_(0) {
  const ucred credentials = credentialsAtOtherEnd(socket);
  process_ = credentials.pid;
  user_ = credentials.uid;
}

// A process that has ended still has a descriptor; it reads as ready.
bool PeerProcess::isAlive() const {
  const FileDescriptor process = openPeerProcess(socket_, process_);
  pollfd end{process.get(), POLLIN, 0};
  return process.isOpen() && ::poll(&end, 1, 0) == 0;
}

bool PeerProcess::satisfies(const CodeRequirement& requirement) {
  struct stat status {};
  if (genuineExecutable_ && ::stat(executableLink(process_).c_str(), &status) == 0 &&
      FileIdentity(status) == *genuineExecutable_ && isAlive()) {
    return true;
  }
  genuineExecutable_.reset();
  return checkWholly(requirement);
}

bool PeerProcess::checkWholly(const CodeRequirement& requirement) {
  const std::string link = executableLink(process_);
  FileDescriptor executable(::open(link.c_str(), O_RDONLY | O_CLOEXEC));
  std::error_code error;
  const std::string path = std::filesystem::read_symlink(link, error).string();
  struct stat status {};
  // Only now: a number that has passed on to another process shows that process's executable.
  if (!executable.isOpen() || error || ::fstat(executable.get(), &status) != 0 || !isAlive()) {
    return false;
  }
  if (!SignedExecutable(std::move(executable), path).isValid(&requirement)) return false;
  genuineExecutable_ = FileIdentity(status);
  return true;
}

}  // namespace velmora
