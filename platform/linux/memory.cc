#include "platform/memory.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cstddef>
#include <optional>
#include <string_view>

#include "platform/file_descriptor.h"

namespace velmora {
namespace {

// The number behind "MemAvailable:" in proc_meminfo(5), in bytes. The line is one of the first.
std::optional<std::uint64_t> availableBytes() noexcept {
  const FileDescriptor file(::open("/proc/meminfo", O_RDONLY | O_CLOEXEC));
  std::array<char, 1024> buffer{};
  const ssize_t size = file.isOpen() ? ::read(file.get(), buffer.data(), buffer.size()) : -1;
  if (size < 0) return std::nullopt;

  constexpr std::string_view name = "\nMemAvailable:";
  const std::string_view text(buffer.data(), static_cast<std::size_t>(size));
  const std::size_t line = text.find(name);
  if (line == std::string_view::npos) return std::nullopt;
  const std::size_t number = text.find_first_not_of(' ', line + name.size());
  if (number == std::string_view::npos) return std::nullopt;

  std::uint64_t kibibytes = 0;
  const char* textEnd = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data() + number, textEnd, kibibytes);
  // A number that ends with the buffer may have been cut short.
  if (error != std::errc() || end == textEnd) return std::nullopt;
  return kibibytes * 1024;
}

std::uint64_t freeBytes() noexcept {
  const long pages = ::sysconf(_SC_AVPHYS_PAGES);
  const long pageBytes = ::sysconf(_SC_PAGESIZE);
  if (pages < 0 || pageBytes < 0) return 0;
  return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageBytes);
}

}  // namespace

std::uint64_t spareMemoryBytes() noexcept {
  const std::optional<std::uint64_t> available = availableBytes();
  return (available ? *available : freeBytes()) / 4;
}

}  // namespace velmora
