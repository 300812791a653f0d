// How much of a machine's memory the helper may take: the arithmetic of spareMemoryBytes.
#pragma once

#include <algorithm>
#include <cstdint>

namespace velmora {

// What even a machine short of memory has for a file of the usual size, thousands of times over.
inline constexpr std::uint64_t alwaysSparedBytes = std::uint64_t{4} << 20;

// `availableBytes` is what the system could still give out of its `wholeBytes`.
constexpr std::uint64_t memoryToSpare(std::uint64_t availableBytes, std::uint64_t wholeBytes) {
  const std::uint64_t reserve = wholeBytes / 4;
  const std::uint64_t beyondReserve = availableBytes > reserve ? availableBytes - reserve : 0;
  return std::max(beyondReserve, std::min(availableBytes, alwaysSparedBytes));
}

}  // namespace velmora
