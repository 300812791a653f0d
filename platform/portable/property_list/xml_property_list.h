// Property lists in XML, as Apple's reader takes them. It is no general XML parser: it knows the
// property list's own elements, looks for the next ">" where XML has attributes, and needs neither
// declaration nor document type. A document type is passed over; no entity but the five
// predefined ones is known, so nothing is expanded and nothing is opened.
// Other than Apple's, this reader never recovers from a fault; where theirs does, by accident,
// this one refuses.
#pragma once

#include <optional>
#include <string_view>

#include "platform/portable/property_list/encoding.h"
#include "platform/property_list.h"

namespace velmora {

// Looks up `key`; nothing when `text` is no property list in XML. What follows the first element
// is not looked at. Of a key that comes twice the last value counts. A value found takes the place
// of `text`.
std::optional<PropertyListString> xmlPropertyListString(PropertyListText& text,
                                                        std::string_view key);

}  // namespace velmora
