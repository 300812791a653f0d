#include "platform/linux/scalar.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>

namespace velmora {
namespace {

constexpr std::size_t longestCharacter = 4;

}  // namespace

Scalar firstScalar(std::string_view text) {
  // A longer view would not be read further than this; the cast keeps the length in range.
  utf8proc_int32_t value = -1;
  const utf8proc_ssize_t length = utf8proc_iterate(
      reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
      static_cast<utf8proc_ssize_t>(std::min(text.size(), longestCharacter)), &value);
  if (length < 1) return {};
  return {value, static_cast<std::size_t>(length)};
}

void appendScalar(std::string& text, std::int32_t value) {
  std::array<utf8proc_uint8_t, longestCharacter> bytes{};
  const utf8proc_ssize_t length = utf8proc_encode_char(value, bytes.data());
  text.append(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(length));
}

}  // namespace velmora
