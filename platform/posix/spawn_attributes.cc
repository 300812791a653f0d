#include "platform/posix/spawn_attributes.h"

#include <csignal>

#include "platform/platform_error.h"
#include "platform/posix/differences/close_on_exec.h"

namespace velmora {
namespace {

void check(int code) {
  if (code != 0) throw PlatformError("prepare", "a child process", code);
}

}  // namespace

SpawnAttributes::SpawnAttributes() {
  check(::posix_spawnattr_init(&attributes_));
  try {
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    // These two have no other disposition, and some systems refuse to be told so.
    sigdelset(&all, SIGKILL);
    sigdelset(&all, SIGSTOP);
    // A tool that inherited a blocked SIGTERM could not be asked to end.
    check(::posix_spawnattr_setsigmask(&attributes_, &none));
    check(::posix_spawnattr_setsigdefault(&attributes_, &all));
    check(::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
    // Not left to each descriptor's own flag: a library may open one without it.
    closeOtherDescriptorsOnExec(&attributes_);
  } catch (...) {
    ::posix_spawnattr_destroy(&attributes_);
    throw;
  }
}

SpawnFileActions::SpawnFileActions() {
  check(::posix_spawn_file_actions_init(&actions_));
}

void SpawnFileActions::addDuplicate(int descriptor, int childDescriptor) {
  check(::posix_spawn_file_actions_adddup2(&actions_, descriptor, childDescriptor));
}

}  // namespace velmora
