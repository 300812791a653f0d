#include "platform/descriptor_io.h"

#include <unistd.h>

#include <cerrno>

namespace velmora {

std::optional<std::size_t> readAt(const FileDescriptor& file, std::uint64_t offset,
                                  std::span<char> buffer) noexcept {
  std::size_t size = 0;
  while (size < buffer.size()) {
    const std::optional<std::size_t> count = readOnceAt(file, offset + size, buffer.subspan(size));
    if (!count) return std::nullopt;
    // The end of the file, which is no failure: the caller knows what it expects.
    if (*count == 0) break;
    size += *count;
  }
  return size;
}

std::optional<std::size_t> readOnceAt(const FileDescriptor& file, std::uint64_t offset,
                                      std::span<char> buffer) noexcept {
  ssize_t count = 0;
  do {
    count = ::pread(file.get(), buffer.data(), buffer.size(), static_cast<off_t>(offset));
  } while (count < 0 && errno == EINTR);
  if (count < 0) return std::nullopt;
  return static_cast<std::size_t>(count);
}

bool writeAt(const FileDescriptor& file, std::uint64_t offset, std::string_view bytes) noexcept {
  while (!bytes.empty()) {
    const ssize_t count =
        ::pwrite(file.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) continue;
    // Nothing written and no error would come back for ever.
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
    offset += static_cast<std::uint64_t>(count);
  }
  return true;
}

}  // namespace velmora
