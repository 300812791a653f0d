// UTF-8 and the Unicode scalars in it. Bytes from outside become text only through decodeUTF8.
// Any thread may call.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

struct Scalar {
  static constexpr char32_t none = 0xFFFFFFFF;

  char32_t value = none;   // none: the byte at this place begins no character
  std::size_t length = 1;  // in bytes
};

// The scalar at the beginning of `text`, which is not empty.
Scalar firstScalar(std::string_view text) noexcept;

// A Unicode scalar value: neither a surrogate nor past U+10FFFF.
constexpr bool isScalar(char32_t value) {
  return value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
}

// Appends `scalar`, which is a Unicode scalar value, to `text`.
void appendScalar(std::string& text, char32_t scalar);

// How many bytes at the front are whole characters; where it is not all, a fault follows, or a
// character cut short.
std::size_t utf8Length(std::string_view bytes) noexcept;

// Whether `bytes` are UTF-8 by the letter: a surrogate, an overlong form, a value past U+10FFFF
// or a character cut short refuses the whole.
bool isUTF8(std::string_view bytes) noexcept;

// `bytes` as text, or nothing when they are not UTF-8 by the letter.
std::optional<std::string> decodeUTF8(std::string_view bytes);

// `text` with everything that a C string or a strict UTF-8 carrier refuses replaced by U+FFFD:
// NUL, noncharacters and each byte that is no part of a character.
std::string replacingUncarriable(std::string_view text);

}  // namespace velmora
