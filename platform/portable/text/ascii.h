// ASCII, which most texts are: runs of it, looked for eight bytes at a time, and its characters.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace velmora {

// How many bytes at the front of `bytes` are ASCII and none of `ends`.
template <typename... Ends>
std::size_t asciiLength(std::string_view bytes, Ends... ends) {
  constexpr std::uint64_t ones = 0x0101010101010101;
  // Where a byte is `end`, its high bit is set; that of the first such byte is to be relied on.
  [[maybe_unused]] const auto marksOf = [](std::uint64_t word, char end) {
    const std::uint64_t difference = word ^ ones * static_cast<unsigned char>(end);
    return (difference - ones) & ~difference;
  };

  std::size_t length = 0;
  for (; bytes.size() - length >= sizeof(std::uint64_t); length += sizeof(std::uint64_t)) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes.data() + length, sizeof word);
    const std::uint64_t marks = (word | ... | marksOf(word, ends)) & 0x80 * ones;
    if (marks == 0) continue;
    if (std::endian::native != std::endian::little) break;
    return length + static_cast<unsigned>(std::countr_zero(marks)) / 8;
  }
  while (length < bytes.size() && static_cast<unsigned char>(bytes[length]) < 0x80 &&
         ((bytes[length] != ends) && ...)) {
    ++length;
  }
  return length;
}

inline bool isASCII(std::string_view bytes) {
  return asciiLength(bytes) == bytes.size();
}

constexpr bool isASCIILetterOrDigit(char character) {
  return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
         (character >= '0' && character <= '9');
}

constexpr char lowercasedASCII(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character + 32) : character;
}

}  // namespace velmora
