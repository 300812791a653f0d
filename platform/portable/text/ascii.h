// Runs of ASCII, looked for eight bytes at a time.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace velmora {

// How many bytes at the front of `bytes` are ASCII and neither of the two that end the run.
inline std::size_t asciiLength(std::string_view bytes, char end = '\x80', char otherEnd = '\x80') {
  constexpr std::uint64_t ones = 0x0101010101010101;
  constexpr std::uint64_t highBits = 0x80 * ones;
  const auto repeated = [](char byte) { return ones * static_cast<unsigned char>(byte); };
  // Has the high bit of the first byte that is 0; what it says of later ones may be wrong.
  const auto zeroBytes = [](std::uint64_t word) { return (word - ones) & ~word; };

  std::size_t length = 0;
  for (; bytes.size() - length >= 8; length += 8) {
    std::uint64_t word = 0;  // the first byte is the lowest
    for (int index = 7; index >= 0; --index) {
      word = word << 8 | static_cast<unsigned char>(bytes[length + static_cast<unsigned>(index)]);
    }
    const std::uint64_t ends =
        (word | zeroBytes(word ^ repeated(end)) | zeroBytes(word ^ repeated(otherEnd))) & highBits;
    if (ends != 0) return length + static_cast<unsigned>(std::countr_zero(ends)) / 8;
  }
  while (length < bytes.size() && static_cast<unsigned char>(bytes[length]) < 0x80 &&
         bytes[length] != end && bytes[length] != otherEnd) {
    ++length;
  }
  return length;
}

inline bool isASCII(std::string_view bytes) {
  return asciiLength(bytes) == bytes.size();
}

}  // namespace velmora
