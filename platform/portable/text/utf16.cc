#include "platform/portable/text/utf16.h"

#include <cstddef>

#include "platform/utf8.h"

namespace velmora {
namespace {

constexpr char32_t replacement = 0xFFFD;

constexpr bool isHighSurrogate(char16_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}

constexpr bool isLowSurrogate(char16_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

}  // namespace

std::u16string utf16OfUTF8(std::string_view text) {
  std::u16string units;
  units.reserve(text.size());
  while (!text.empty()) {
    const Scalar scalar = firstScalar(text);
    const char32_t value = scalar.value == Scalar::none ? replacement : scalar.value;
    if (value < 0x10000) {
      units += static_cast<char16_t>(value);
    } else {
      units += static_cast<char16_t>(0xD7C0 + (value >> 10U));
      units += static_cast<char16_t>(0xDC00 + (value & 0x3FFU));
    }
    text.remove_prefix(scalar.length);
  }
  return units;
}

std::string utf8OfUTF16(std::u16string_view units) {
  std::string text;
  text.reserve(units.size());
  for (std::size_t at = 0; at < units.size(); ++at) {
    char32_t value = units[at];
    if (isHighSurrogate(units[at]) && at + 1 < units.size() && isLowSurrogate(units[at + 1])) {
      value = 0x10000 + ((value - 0xD800) << 10U) + (units[++at] - 0xDC00U);
    }
    appendScalar(text, isScalar(value) ? value : replacement);
  }
  return text;
}

}  // namespace velmora
