// Property lists in binary form (version 0), as Apple's reader takes them.
#pragma once

#include <optional>
#include <string_view>

#include "platform/portable/property_list/reading_progress.h"
#include "platform/property_list.h"

namespace velmora {

// Looks up `key`; nothing when `bytes` are no binary property list. Every object that the top
// level reaches is checked, once, however often it is referred to; one that contains itself
// refuses the whole. So do objects that overlap so much that together they are larger than the
// file: no writer makes them, and to check them would take time out of proportion.
// Of a key that comes twice the first value counts. Bytes past ASCII in an ASCII string are
// Latin 1; a surrogate without its partner becomes U+FFFD.
std::optional<PropertyListString> binaryPropertyListString(std::string_view bytes,
                                                           std::string_view key,
                                                           ReadingProgress& progress);

}  // namespace velmora
