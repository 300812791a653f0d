#include "platform/posix/differences/disk_flush.h"

#include <unistd.h>

namespace velmora {

int flushOnce(const FileDescriptor& file, Flush /*flush*/) {
  return ::fsync(file.get());
}

}  // namespace velmora
