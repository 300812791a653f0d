#include "platform/posix/differences/close_on_exec.h"

#include "platform/platform_error.h"

namespace velmora {

void closeOtherDescriptorsOnExec(posix_spawnattr_t* attributes) {
  short flags = 0;
  int code = ::posix_spawnattr_getflags(attributes, &flags);
  if (code == 0) {
    flags = static_cast<short>(flags | POSIX_SPAWN_CLOEXEC_DEFAULT);
    code = ::posix_spawnattr_setflags(attributes, flags);
  }
  if (code != 0) throw PlatformError("prepare", "a child process", code);
}

}  // namespace velmora
