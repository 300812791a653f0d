// Property lists in the OpenStep format, as Apple's reader takes them: { }, ( ), < > with
// hexadecimal digits, quoted and unquoted strings, comments of both kinds; also the form of a
// strings file, without braces.
// Other than Apple's, this reader never recovers from a fault; where theirs does, by accident,
// this one refuses.
#pragma once

#include <optional>
#include <string_view>

#include "platform/portable/property_list/encoding.h"
#include "platform/property_list.h"

namespace velmora {

// Looks up `key`; nothing when `text` is no property list of this format, or not UTF-8. Text of
// white space and comments alone is an empty dictionary. A strings file ends where no further
// key begins; what follows is not looked at. Of a key that comes twice the last value counts. A
// value found takes the place of `text`.
std::optional<PropertyListString> openStepPropertyListString(PropertyListText& text,
                                                             std::string_view key);

}  // namespace velmora
