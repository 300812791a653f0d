// Unicode scalars in and out of UTF-8.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace velmora {

struct Scalar {
  std::int32_t value = -1;  // negative: the byte at this place begins no character
  std::size_t length = 1;   // in bytes
};

// The scalar at the beginning of `text`, which is not empty.
Scalar firstScalar(std::string_view text);

// Appends the scalar `value` to `text`; nothing when it is none.
void appendScalar(std::string& text, std::int32_t value);

}  // namespace velmora
