// Texts scalar by scalar, and the runs of marks in them.
#pragma once

#include <cstddef>
#include <string_view>

#include "platform/utf8.h"

namespace velmora {

// Calls `visit` with each scalar of `text`, and the part that it is, until it says false. Returns
// whether it never did.
template <typename Visit>
bool everyScalar(std::string_view text, Visit visit) {
  while (!text.empty()) {
    const Scalar scalar = firstScalar(text);
    if (!visit(scalar.value, text.substr(0, scalar.length))) return false;
    text.remove_prefix(scalar.length);
  }
  return true;
}

// Whether nowhere in `text` more than `most` scalars stand in a row for which `isMark` is true.
template <typename IsMark>
bool hasFewMarksInARow(std::string_view text, std::size_t most, IsMark isMark) {
  std::size_t inARow = 0;
  return everyScalar(text, [&](char32_t value, std::string_view /*part*/) {
    inARow = isMark(value) ? inARow + 1 : 0;
    return inARow <= most;
  });
}

}  // namespace velmora
