// The strings of property lists in the OpenStep format.
#pragma once

#include <optional>
#include <string>

#include "platform/portable/text/cursor.h"

namespace velmora {

// Whether a string, quoted or not, stands at the front of `cursor`.
bool isOpenStepString(const Cursor& cursor);

// Takes the string at the front of `cursor`, which is UTF-8, with its quotes; nothing when there is
// none or it does not end. A surrogate that an escape makes without its partner becomes U+FFFD.
std::optional<std::string> readOpenStepString(Cursor& cursor);

}  // namespace velmora
