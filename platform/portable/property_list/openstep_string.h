// The strings of property lists in the old text format.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velmora {

// Whether a string, quoted or not, begins `rest`.
bool isOldTextString(std::string_view rest);

// Takes the string at the front of `rest`, which is UTF-8, with its quotes; nothing when there is
// none or it does not end. A surrogate that an escape makes without its partner becomes U+FFFD.
std::optional<std::string> readOldTextString(std::string_view& rest);

}  // namespace velmora
