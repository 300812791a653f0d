#include "platform/posix/differences/disk_flush.h"

#include <unistd.h>

namespace velmora {

int flushToDisk(const FileDescriptor& file) {
  return ::fsync(file.get());
}

}  // namespace velmora
