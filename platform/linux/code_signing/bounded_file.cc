#include "platform/linux/code_signing/bounded_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/descriptor_io.h"

namespace velmora {

std::optional<std::string> readBoundedFile(const std::string& path, std::size_t maximumBytes) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status {};
  if (!file.isOpen() || ::fstat(file.get(), &status) != 0) return std::nullopt;
  // A FIFO or a device could keep the reader for ever.
  if (!S_ISREG(status.st_mode) || static_cast<std::size_t>(status.st_size) > maximumBytes) {
    return std::nullopt;
  }

  std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
  if (readAt(file, 0, bytes) != bytes.size()) return std::nullopt;
  return bytes;
}

}  // namespace velmora
