#include "platform/portable/text/utf16.h"

#include "platform/utf8.h"

namespace velmora {

std::u16string utf16OfUTF8(std::string_view text) {
  constexpr char32_t replacement = 0xFFFD;
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

}  // namespace velmora
