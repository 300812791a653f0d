// The code units of UTF-16, which Foundation's texts are made of. For the way back see
// UTF16Decoder in platform/portable/property_list/encoding.h.
#pragma once

#include <string>
#include <string_view>

namespace velmora {

// `text`, which is UTF-8, with each byte that is no part of a character as U+FFFD.
std::u16string utf16OfUTF8(std::string_view text);

}  // namespace velmora
