// Hexadecimal digits.
#pragma once

#include <optional>

namespace velmora {

// The value of a digit of either letter case; nothing when `character` is none.
constexpr std::optional<unsigned> hexadecimalValue(char character) {
  if (character >= '0' && character <= '9') return static_cast<unsigned>(character - '0');
  if (character >= 'a' && character <= 'f') return static_cast<unsigned>(character - 'a' + 10);
  if (character >= 'A' && character <= 'F') return static_cast<unsigned>(character - 'A' + 10);
  return std::nullopt;
}

// The digit of `value`, which is less than 16, in upper case.
constexpr char hexadecimalDigit(unsigned value) {
  return "0123456789ABCDEF"[value];
}

}  // namespace velmora
