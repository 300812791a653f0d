#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/property_list.h"
#include "platform/utf8.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using velmora::PropertyListString;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const PropertyListString found = velmora::propertyListString(bytes, "Label", nullptr);
  require(velmora::decodeUTF8(found.value).has_value());
  require(found.value.size() <= 2 * size);
  require(found.value.empty() || found.outcome == PropertyListString::Outcome::found);

  const PropertyListString again = velmora::propertyListString(bytes, "Label", nullptr);
  require(again.outcome == found.outcome && again.value == found.value);
  // Another key tells the same of the file as a whole.
  const PropertyListString other = velmora::propertyListString(bytes, "Program", nullptr);
  const auto isWhole = [](const PropertyListString& string) {
    return string.outcome != PropertyListString::Outcome::notAPropertyList &&
           string.outcome != PropertyListString::Outcome::notADictionary;
  };
  require(isWhole(other) ? isWhole(found) : other.outcome == found.outcome);
  return 0;
}
