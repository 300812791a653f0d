#include "platform/posix/spawn_attributes.h"

#include <linux/close_range.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "platform/platform_error.h"

namespace velmora {

void closeOtherDescriptorsOnExec(posix_spawnattr_t* /*attributes*/) {
  if (::close_range(STDERR_FILENO + 1, UINT_MAX, CLOSE_RANGE_CLOEXEC) != 0) {
    throw PlatformError("prepare", "a child process", errno);
  }
}

}  // namespace velmora
