#include "platform/utf8.h"

#include <array>

#include "platform/portable/text/ascii.h"

namespace velmora {
namespace {

bool isNoncharacter(char32_t value) {
  return (value >= 0xFDD0 && value <= 0xFDEF) || (value & 0xFFFE) == 0xFFFE;
}

// The length of a character by its first byte; 0 when no character begins with it.
std::size_t lengthOf(unsigned char firstByte) {
  if (firstByte < 0x80) return 1;
  if (firstByte < 0xC2) return 0;  // a continuation, or an overlong form of two bytes
  if (firstByte < 0xE0) return 2;
  if (firstByte < 0xF0) return 3;
  return firstByte < 0xF5 ? 4 : 0;
}

}  // namespace

Scalar firstScalar(std::string_view text) noexcept {
  const auto first = static_cast<unsigned char>(text.front());
  const std::size_t length = lengthOf(first);
  if (length == 1) return {first, 1};
  if (length == 0 || length > text.size()) return {};

  // The least value that needs so many bytes; a smaller one is an overlong form.
  constexpr std::array<char32_t, 5> least = {0, 0, 0x80, 0x800, 0x10000};
  char32_t value = first & (0x7FU >> length);
  for (const char next : text.substr(1, length - 1)) {
    const auto byte = static_cast<unsigned char>(next);
    if ((byte & 0xC0) != 0x80) return {};
    value = value << 6 | (byte & 0x3F);
  }
  if (value < least.at(length) || !isScalar(value)) return {};
  return {value, length};
}

void appendScalar(std::string& text, char32_t scalar) {
  const auto append = [&text](char32_t byte) { text += static_cast<char>(byte); };
  const auto continuation = [&](int shift) { append(0x80 | (scalar >> shift & 0x3F)); };
  if (scalar < 0x80) {
    append(scalar);
  } else if (scalar < 0x800) {
    append(0xC0 | scalar >> 6);
    continuation(0);
  } else if (scalar < 0x10000) {
    append(0xE0 | scalar >> 12);
    continuation(6);
    continuation(0);
  } else {
    append(0xF0 | scalar >> 18);
    continuation(12);
    continuation(6);
    continuation(0);
  }
}

std::size_t utf8Length(std::string_view bytes) noexcept {
  std::size_t length = 0;
  while (true) {
    length += asciiLength(bytes.substr(length));
    if (length == bytes.size()) return length;
    const Scalar scalar = firstScalar(bytes.substr(length));
    if (scalar.value == Scalar::none) return length;
    length += scalar.length;
  }
}

bool isUTF8(std::string_view bytes) noexcept {
  return utf8Length(bytes) == bytes.size();
}

std::optional<std::string> decodeUTF8(std::string_view bytes) {
  return isUTF8(bytes) ? std::optional(std::string(bytes)) : std::nullopt;
}

std::string replacingUncarriable(std::string_view text) {
  constexpr std::string_view replacement = "\uFFFD";
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const Scalar scalar = firstScalar(text);
    const bool carriable =
        scalar.value != Scalar::none && scalar.value != 0 && !isNoncharacter(scalar.value);
    result += carriable ? text.substr(0, scalar.length) : replacement;
    text.remove_prefix(scalar.length);
  }
  return result;
}

}  // namespace velmora
