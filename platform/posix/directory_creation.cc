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
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
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
  synchronizeDirectory(path.parent_path());
}

void createDirectories(const std::filesystem::path& path) {
  std::filesystem::path current;
  for (const std::filesystem::path& component : path) {
    current /= component;
    if (!isDirectory(current)) createDirectory(current);
  }
}

}  // namespace velmora
