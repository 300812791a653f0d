// Hexadecimal digits.
#pragma once

#include <optional>
#include <string_view>

namespace velmora {

// The value of a digit of either letter case; nothing when `character` is none.
constexpr std::optional<unsigned> hexadecimalValue(char character) {
  const std::size_t value = std::string_view("0123456789abcdefABCDEF").find(character);
  if (value == std::string_view::npos) return std::nullopt;
  return static_cast<unsigned>(value < 16 ? value : value - 6);
}

// The digit of `value`, which is less than 16, in upper case.
constexpr char hexadecimalDigit(unsigned value) {
  return "0123456789ABCDEF"[value];
}

}  // namespace velmora
