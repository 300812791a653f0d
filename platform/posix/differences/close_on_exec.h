// What keeps a child process from getting the helper's descriptors.
#pragma once

#include <spawn.h>

namespace velmora {

// Makes every descriptor of the helper above standard error close on exec, also those inherited
// from whoever started it. Raises PlatformError. close_range(2) on Linux;
// POSIX_SPAWN_CLOEXEC_DEFAULT in `attributes` on macOS: posix_spawnattr_setflags(2).
void closeOtherDescriptorsOnExec(posix_spawnattr_t* attributes);

}  // namespace velmora
