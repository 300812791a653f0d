#include "platform/property_list.h"

#include <optional>

#include "platform/portable/property_list/binary_property_list.h"
#include "platform/portable/property_list/encoding.h"
#include "platform/portable/property_list/openstep_property_list.h"
#include "platform/portable/property_list/xml_property_list.h"

namespace velmora {

// Apple's reader tries the formats in this order, whatever the bytes begin with.
PropertyListString propertyListString(std::string_view bytes, std::string_view key) {
  constexpr auto notAPropertyList = PropertyListString::Outcome::notAPropertyList;
  if (bytes.empty()) return {notAPropertyList, {}};
  if (auto found = binaryPropertyListString(bytes, key)) return *std::move(found);
  std::string storage;
  const std::optional<std::string_view> text = propertyListText(bytes, storage);
  if (!text || text->empty()) return {notAPropertyList, {}};
  if (auto found = xmlPropertyListString(*text, key)) return *std::move(found);
  if (auto found = openStepPropertyListString(*text, key)) return *std::move(found);
  return {notAPropertyList, {}};
}

}  // namespace velmora
