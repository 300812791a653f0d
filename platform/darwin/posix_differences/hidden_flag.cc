#include "platform/posix/differences/hidden_flag.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace velmora {

bool isMarkedHidden(const FileDescriptor& directory, const char* name) {
  struct stat status {};
  return ::fstatat(directory.get(), name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         (status.st_flags & UF_HIDDEN) != 0;
}

}  // namespace velmora
