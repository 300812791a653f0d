#include "platform/posix/differences/disk_flush.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace velmora {

int flushOnce(const FileDescriptor& file, Flush flush) {
  const int command = flush == Flush::toDisk ? F_FULLFSYNC : F_BARRIERFSYNC;
  if (::fcntl(file.get(), command) == 0) return 0;
  // As of a network's file system, or a foreign one.
  const bool isUnknown = errno == ENOTSUP || errno == EINVAL || errno == ENOTTY || errno == ENODEV;
  return isUnknown ? ::fsync(file.get()) : -1;
}

}  // namespace velmora
