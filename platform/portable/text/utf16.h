// The code units of UTF-16, which Foundation's texts are made of.
#pragma once

#include <string>
#include <string_view>

namespace velmora {

// `text`, which is UTF-8, with each byte that is no part of a character as U+FFFD.
std::u16string utf16OfUTF8(std::string_view text);

// `units` with each surrogate that has no partner as U+FFFD.
std::string utf8OfUTF16(std::u16string_view units);

}  // namespace velmora
