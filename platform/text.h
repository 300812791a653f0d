// Unicode text. Texts are UTF-8 in std::string; bytes from outside become text only through
// decodeUTF8.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velmora {

// `bytes` as text, or nothing when they are not UTF-8 by the letter: a surrogate, an overlong
// form, a value past U+10FFFF or a character cut short refuses the whole.
std::optional<std::string> decodeUTF8(std::string_view bytes);

// `text` without the white space and newlines at both ends: the general categories Zs, Zl and
// Zp, U+0009 to U+000D and U+0085. `text` is UTF-8.
std::string trimWhitespaceAndNewlines(std::string_view text);

// `text` with everything that a C string or a strict UTF-8 carrier refuses replaced by U+FFFD:
// NUL, noncharacters and each byte that is no part of a character.
std::string replacingUncarriable(std::string_view text);

}  // namespace velmora
