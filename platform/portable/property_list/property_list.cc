#include "platform/property_list.h"

#include <optional>

#include "platform/portable/property_list/binary_property_list.h"
#include "platform/portable/property_list/encoding.h"
#include "platform/portable/property_list/openstep_property_list.h"
#include "platform/portable/property_list/reading_progress.h"
#include "platform/portable/property_list/xml_property_list.h"

namespace velmora {

// Apple's reader tries the formats in this order, whatever the bytes begin with.
PropertyListString propertyListString(std::string_view bytes, std::string_view key,
                                      const ReadingCheckpoint& checkpoint) {
  ReadingProgress progress(checkpoint);
  if (auto found = binaryPropertyListString(bytes, key, progress)) return *std::move(found);
  std::optional<PropertyListText> text = PropertyListText::of(bytes, progress);
  if (text) {
    if (auto found = xmlPropertyListString(*text, key)) return *std::move(found);
    if (auto found = openStepPropertyListString(*text, key)) return *std::move(found);
  }
  return {PropertyListString::Outcome::notAPropertyList, {}};
}

}  // namespace velmora
