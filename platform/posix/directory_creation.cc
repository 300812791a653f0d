#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/files.h"
#include "platform/platform_error.h"

namespace velmora {
namespace {

constexpr mode_t ownerOnly = S_IRWXU;

bool isDirectory(const std::filesystem::path& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) == 0) return S_ISDIR(status.st_mode);
  // Whatever else it is, it is not known that nothing is there.
  if (errno != ENOENT) throw PlatformError("examine", path, errno);
  return false;
}

}  // namespace

void createDirectory(const std::filesystem::path& path) {
  if (::mkdir(path.c_str(), ownerOnly) != 0) throw PlatformError("create", path, errno);
  const FileDescriptor directory(
      ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  // The umask may have taken away what the owner needs.
  if (!directory.isOpen() || ::fchmod(directory.get(), ownerOnly) != 0) {
    throw PlatformError("create", path, errno);
  }
  synchronizeDirectory(path.parent_path(), Flush::inOrder);
}

void createDirectories(const std::filesystem::path& path) {
  std::filesystem::path current;
  for (const std::filesystem::path& component : path) {
    current /= component;
    if (!isDirectory(current)) {
      createDirectory(current);
    } else if (current.parent_path().has_relative_path()) {
      // It may be the work of a helper that was killed before the name was on disk. What lies in
      // the root folder itself is the system's.
      synchronizeDirectory(current.parent_path(), Flush::inOrder);
    }
  }
}

}  // namespace velmora
