// The system's way to get a file onto the disk itself.
#pragma once

#include "platform/file_descriptor.h"

namespace velmora {

// 0, or -1 with errno. fsync(2) on Linux; fcntl(2) with F_FULLFSYNC on macOS, where fsync leaves
// the bytes in the drive's own cache.
int flushToDisk(const FileDescriptor& file);

}  // namespace velmora
