// The process at the other end of a connection, known by the kernel's word alone: SO_PEERCRED and
// SO_PEERPIDFD, unix(7). A kernel before 6.5 has no SO_PEERPIDFD and only tells the number, which
// may have passed on to another process. A development stand-in: here, unlike on macOS, a genuine
// process can be made to run foreign code after it has connected (exec, LD_PRELOAD, ptrace), or can
// pass its connection on.
#pragma once

#include <sys/socket.h>
#include <sys/types.h>

#include <optional>

#include "platform/file_descriptor.h"
#include "platform/linux/file_identity.h"

namespace velmora {

class CodeRequirement;

// Who connected, as the kernel noted it then: unix(7). Raises PlatformError.
ucred credentialsAtOtherEnd(int socket);

class PeerProcess {
 public:
  // Who connected to the connected local socket. Keeps a descriptor. Raises PlatformError.
  explicit PeerProcess(int socket);

  uid_t effectiveUserIdentifier() const { return user_; }

  // Whether the process still lives and runs an executable that satisfies `requirement`. The
  // whole test is made the first time and whenever another executable is run since the last one.
  bool satisfies(const CodeRequirement& requirement);

 private:
  PeerProcess(int socket, const ucred& credentials);
  bool checkWholly(const CodeRequirement& requirement);

  // The process's own in proc(5): nothing is found in it once that process has ended, whichever has
  // its number then.
  FileDescriptor folder_;
  uid_t user_;
  std::optional<FileIdentity> genuineExecutable_;
};

}  // namespace velmora
