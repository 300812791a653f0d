#include "platform/file_descriptor.h"

#include <unistd.h>

#include <cerrno>

namespace velmora {

void FileDescriptor::reset(int descriptor) noexcept {
  if (isOpen()) {
    const int savedErrno = errno;
    // After EINTR the descriptor is closed all the same; a second close could hit a stranger's.
    ::close(descriptor_);
    errno = savedErrno;
  }
  descriptor_ = descriptor;
}

}  // namespace velmora
