#include "platform/text.h"

#include <utf8proc.h>

#include <algorithm>
#include <cstddef>

namespace velmora {
namespace {

struct Scalar {
  utf8proc_int32_t value = -1;  // negative: the byte at this place begins no character
  std::size_t length = 1;
};

// The scalar at the beginning of `text`, which is not empty.
Scalar firstScalar(std::string_view text) {
  // A longer view would not be read further than this; the cast keeps the length in range.
  constexpr std::size_t longestCharacter = 4;
  utf8proc_int32_t value = -1;
  const utf8proc_ssize_t length = utf8proc_iterate(
      reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
      static_cast<utf8proc_ssize_t>(std::min(text.size(), longestCharacter)), &value);
  if (length < 1) return {};
  return {value, static_cast<std::size_t>(length)};
}

bool isWhitespaceOrNewline(utf8proc_int32_t value) {
  if ((value >= 0x09 && value <= 0x0D) || value == 0x85) return true;
  const utf8proc_category_t category = utf8proc_category(value);
  return category == UTF8PROC_CATEGORY_ZS || category == UTF8PROC_CATEGORY_ZL ||
         category == UTF8PROC_CATEGORY_ZP;
}

bool isNoncharacter(utf8proc_int32_t value) {
  return (value >= 0xFDD0 && value <= 0xFDEF) || (value & 0xFFFE) == 0xFFFE;
}

}  // namespace

std::optional<std::string> decodeUTF8(std::string_view bytes) {
  for (std::size_t at = 0; at < bytes.size();) {
    const Scalar scalar = firstScalar(bytes.substr(at));
    if (scalar.value < 0) return std::nullopt;
    at += scalar.length;
  }
  return std::string(bytes);
}

std::string trimWhitespaceAndNewlines(std::string_view text) {
  std::size_t begin = text.size();
  std::size_t end = 0;
  for (std::size_t at = 0; at < text.size();) {
    const Scalar scalar = firstScalar(text.substr(at));
    if (!isWhitespaceOrNewline(scalar.value)) {
      begin = std::min(begin, at);
      end = at + scalar.length;
    }
    at += scalar.length;
  }
  return begin < end ? std::string(text.substr(begin, end - begin)) : std::string();
}

std::string replacingUncarriable(std::string_view text) {
  constexpr std::string_view replacement = "\uFFFD";
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const Scalar scalar = firstScalar(text.substr(at));
    const bool carriable = scalar.value > 0 && !isNoncharacter(scalar.value);
    result += carriable ? text.substr(at, scalar.length) : replacement;
    at += scalar.length;
  }
  return result;
}

}  // namespace velmora
