#include "platform/linux/code_signing/bounded_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/file_descriptor.h"

namespace velmora {

std::optional<std::string> readBoundedFile(const std::string& path, std::size_t maximumBytes) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status {};
  if (!file.isOpen() || ::fstat(file.get(), &status) != 0) return std::nullopt;
  if (!S_ISREG(status.st_mode) || static_cast<std::size_t>(status.st_size) > maximumBytes) {
    return std::nullopt;
  }

  std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
  std::size_t size = 0;
  while (size < bytes.size()) {
    const ssize_t count = ::read(file.get(), bytes.data() + size, bytes.size() - size);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return std::nullopt;
    size += static_cast<std::size_t>(count);
  }
  return bytes;
}

}  // namespace velmora
