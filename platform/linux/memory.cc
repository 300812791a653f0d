#include "platform/memory.h"

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cstddef>
#include <optional>
#include <string_view>

#include "platform/descriptor_io.h"
#include "platform/portable/memory_to_spare.h"

namespace velmora {
namespace {

// The number behind "MemAvailable:" in proc_meminfo(5), in bytes. The line is one of the first.
std::optional<std::uint64_t> availableBytes() noexcept {
  const FileDescriptor file(::open("/proc/meminfo", O_RDONLY | O_CLOEXEC));
  std::array<char, 1024> buffer{};
  const std::optional<std::size_t> size = readAt(file, 0, buffer);
  if (!size) return std::nullopt;

  constexpr std::string_view name = "\nMemAvailable:";
  const std::string_view text(buffer.data(), *size);
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

// 0 where the system does not tell. `pages` is a name of sysconf(3).
std::uint64_t bytesOfPages(int pages) noexcept {
  const long count = ::sysconf(pages);
  const long pageBytes = ::sysconf(_SC_PAGESIZE);
  if (count < 0 || pageBytes < 0) return 0;
  return static_cast<std::uint64_t>(count) * static_cast<std::uint64_t>(pageBytes);
}

}  // namespace

// Left to itself, the C library raises its limit with the first large block that is freed, and then
// each thread's share of the heap keeps the next ones.
void returnLargeBlocksWhenFreed() noexcept {
  constexpr int largeBlockBytes = 256 * 1024;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): there is no other thread yet.
  ::mallopt(M_MMAP_THRESHOLD, largeBlockBytes);
}

void giveBackFreedMemory() noexcept {
  ::malloc_trim(0);
}

std::uint64_t spareMemoryBytes() noexcept {
  const std::optional<std::uint64_t> told = availableBytes();
  const std::uint64_t available = told ? *told : bytesOfPages(_SC_AVPHYS_PAGES);
  return memoryToSpare(available, bytesOfPages(_SC_PHYS_PAGES));
}

}  // namespace velmora
