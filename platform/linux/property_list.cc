#include "platform/property_list.h"

#include <optional>

#include "platform/linux/property_list_binary.h"
#include "platform/linux/property_list_encoding.h"
#include "platform/linux/property_list_text.h"
#include "platform/linux/property_list_xml.h"

namespace velmora {

// Apple's reader tries the formats in this order, whatever the bytes begin with.
PropertyListString propertyListString(std::string_view bytes, std::string_view key) {
  constexpr auto notAPropertyList = PropertyListString::Outcome::notAPropertyList;
  if (bytes.empty()) return {notAPropertyList, {}};
  if (auto found = binaryPropertyListString(bytes, key)) return *std::move(found);
  std::string storage;
  const std::optional<std::string_view> text = propertyListText(bytes, storage);
  if (!text) return {notAPropertyList, {}};
  if (auto found = xmlPropertyListString(*text, key)) return *std::move(found);
  if (auto found = oldTextPropertyListString(*text, key)) return *std::move(found);
  return {notAPropertyList, {}};
}

}  // namespace velmora
