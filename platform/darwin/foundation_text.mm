#include "platform/darwin/foundation_text.h"

#include "platform/portable/text/utf16.h"

namespace velmora {

NSString* foundationText(std::string_view text) {
  const std::u16string units = utf16OfUTF8(text);
  return [[NSString alloc] initWithCharacters:reinterpret_cast<const unichar*>(units.data())
                                       length:units.size()];
}

std::string utf8Text(NSString* text) {
  std::u16string units([text length], u'\0');
  [text getCharacters:reinterpret_cast<unichar*>(units.data()) range:NSRange{0, units.size()}];
  return utf8OfUTF16(units);
}

}  // namespace velmora
