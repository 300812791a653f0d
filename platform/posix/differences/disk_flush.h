// The system's ways to get a file onto the disk itself.
#pragma once

#include "platform/file_descriptor.h"
#include "platform/files.h"

namespace velmora {

// 0, or -1 with errno, which may be EINTR. fsync(2) of either kind on Linux. On macOS, where fsync
// leaves the bytes in the drive's own cache, fcntl(2) with F_BARRIERFSYNC or F_FULLFSYNC, and fsync
// where the file system does not know them.
int flushOnce(const FileDescriptor& file, Flush flush);

}  // namespace velmora
