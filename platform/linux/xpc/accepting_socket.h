// Takes connections from a listening socket, whatever the process runs out of.
#pragma once

#include "platform/file_descriptor.h"

namespace velmora {

class AcceptingSocket {
 public:
  // Raises PlatformError.
  explicit AcceptingSocket(FileDescriptor listening);

  // Waits for the next connection. When descriptors have run out, the newcomer is closed at once
  // instead of being left to wait for ever, and the wait goes on.
  FileDescriptor accept();

 private:
  FileDescriptor acceptOnce();
  void refuseNewcomer();

  FileDescriptor listening_;
  FileDescriptor spare_;  // given up for the moment it takes to refuse a newcomer
};

}  // namespace velmora
