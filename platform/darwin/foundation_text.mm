#include "platform/darwin/foundation_text.h"

#include <vector>

#include "platform/portable/property_list/encoding.h"
#include "platform/portable/text/utf16.h"

namespace velmora {

NSString* foundationText(std::string_view text) {
  const std::u16string units = utf16OfUTF8(text);
  return [[NSString alloc] initWithCharacters:reinterpret_cast<const unichar*>(units.data())
                                       length:units.size()];
}

std::string utf8Text(NSString* text) {
  std::vector<unichar> units([text length]);
  [text getCharacters:units.data() range:NSRange{0, units.size()}];
  UTF16Decoder decoder;
  for (const unichar unit : units) decoder.append(static_cast<char16_t>(unit));
  return decoder.finish();
}

}  // namespace velmora
