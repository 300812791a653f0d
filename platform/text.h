// What the characters of a text are, by the system's own tables. Texts are UTF-8 (platform/utf8.h).
// Any thread may call.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace velmora {

// `text` without the white space and newlines at both ends: the general categories Zs, Zl and
// Zp, U+0009 to U+000D, U+0085 and U+200B, which is in the system's set though it has no width.
// `text` is UTF-8.
std::string trimWhitespaceAndNewlines(std::string_view text);

// `text` in one canonical form (NFD): two texts are canonically equivalent exactly when their
// forms are equal. Linear in time, however many marks stand in a row. Raises std::invalid_argument
// when `text` is not UTF-8.
std::string canonicalForm(std::string_view text);

// `text` with the full lower-case mapping of every character by itself (SpecialCasing.txt without
// its conditional rows): no language's own rules, and a sigma at a word's end is any other sigma.
// `text` is UTF-8.
std::string lowercased(std::string_view text);

// Whether every scalar of `text` is a letter, a mark or a number (general categories L, M and N)
// or one of the ASCII characters in `others`. True of the empty text. `text` is UTF-8.
bool isAlphanumericExcept(std::string_view text, std::string_view others);

// Whether `text` begins with the ASCII character `character` as a user-perceived character by
// itself (extended grapheme cluster, UAX #29): with a mark on it, it is another one. `text` is
// UTF-8.
bool beginsWithCharacter(std::string_view text, char character);

// How many user-perceived characters `text` has. Linear in time. `text` is UTF-8.
std::size_t userPerceivedCharacterCount(std::string_view text);

}  // namespace velmora
