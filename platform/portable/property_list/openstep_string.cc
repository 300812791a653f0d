#include "platform/portable/property_list/openstep_string.h"

#include <array>
#include <cstddef>

#include "platform/portable/property_list/encoding.h"
#include "platform/portable/text/cursor.h"
#include "platform/portable/text/hexadecimal.h"

namespace velmora {
namespace {

// The characters from 0x80 on of NextStep's encoding, in which octal escapes are meant. The last
// two are not assigned.
constexpr std::array<char16_t, 128> nextStepCharacters = {
    0x00A0, 0x00C0, 0x00C1, 0x00C2, 0x00C3, 0x00C4, 0x00C5, 0x00C7, 0x00C8, 0x00C9, 0x00CA, 0x00CB,
    0x00CC, 0x00CD, 0x00CE, 0x00CF, 0x00D0, 0x00D1, 0x00D2, 0x00D3, 0x00D4, 0x00D5, 0x00D6, 0x00D9,
    0x00DA, 0x00DB, 0x00DC, 0x00DD, 0x00DE, 0x00B5, 0x00D7, 0x00F7, 0x00A9, 0x00A1, 0x00A2, 0x00A3,
    0x2044, 0x00A5, 0x0192, 0x00A7, 0x00A4, 0x2019, 0x201C, 0x00AB, 0x2039, 0x203A, 0xFB01, 0xFB02,
    0x00AE, 0x2013, 0x2020, 0x2021, 0x00B7, 0x00A6, 0x00B6, 0x2022, 0x201A, 0x201E, 0x201D, 0x00BB,
    0x2026, 0x2030, 0x00AC, 0x00BF, 0x00B9, 0x02CB, 0x00B4, 0x02C6, 0x02DC, 0x00AF, 0x02D8, 0x02D9,
    0x00A8, 0x00B2, 0x02DA, 0x00B8, 0x00B3, 0x02DD, 0x02DB, 0x02C7, 0x2014, 0x00B1, 0x00BC, 0x00BD,
    0x00BE, 0x00E0, 0x00E1, 0x00E2, 0x00E3, 0x00E4, 0x00E5, 0x00E7, 0x00E8, 0x00E9, 0x00EA, 0x00EB,
    0x00EC, 0x00C6, 0x00ED, 0x00AA, 0x00EE, 0x00EF, 0x00F0, 0x00F1, 0x0141, 0x00D8, 0x0152, 0x00BA,
    0x00F2, 0x00F3, 0x00F4, 0x00F5, 0x00F6, 0x00E6, 0x00F9, 0x00FA, 0x00FB, 0x0131, 0x00FC, 0x00FD,
    0x0142, 0x00F8, 0x0153, 0x00DF, 0x00FE, 0x00FF, 0x0000, 0x0000};

bool isUnquoted(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') ||
         std::string_view("_$/:.-").find(character) != std::string_view::npos;
}

bool isOctalDigit(const Cursor& cursor) {
  return !cursor.isAtEnd() && cursor.rest().front() >= '0' && cursor.rest().front() <= '7';
}

// Three digits at most, of which the lowest eight bits count.
char16_t readOctal(Cursor& cursor) {
  unsigned value = 0;
  for (int digits = 0; digits < 3; ++digits) {
    if (!isOctalDigit(cursor)) break;
    value = value << 3 | static_cast<unsigned>(cursor.take(1).front() - '0');
  }
  value &= 0xFF;
  return value < 0x80 ? static_cast<char16_t>(value) : nextStepCharacters[value - 0x80];
}

// Four digits at most; none at all mean U+0000.
char16_t readHexadecimal(Cursor& cursor) {
  unsigned value = 0;
  for (int digits = 0; digits < 4 && !cursor.isAtEnd(); ++digits) {
    const std::optional<unsigned> digit = hexadecimalValue(cursor.rest().front());
    if (!digit) break;
    value = value << 4 | *digit;
    cursor.take(1);
  }
  return static_cast<char16_t>(value);
}

char16_t meaningOf(char escape) {
  constexpr std::string_view letters = "abfnrtv";
  constexpr std::string_view meanings = "\a\b\f\n\r\t\v";
  const std::size_t at = letters.find(escape);
  return static_cast<char16_t>(at == std::string_view::npos ? escape : meanings[at]);
}

// What stands behind a backslash. One that means nothing else is the character itself, which
// is left in place if it is no ASCII; so a small "u" is not the escape that "U" is.
void readEscape(Cursor& cursor, UTF16Decoder& text) {
  if (cursor.isAtEnd() || static_cast<unsigned char>(cursor.rest().front()) >= 0x80) return;
  if (isOctalDigit(cursor)) {
    text.append(readOctal(cursor));
    return;
  }
  const char escape = cursor.take(1).front();
  text.append(escape == 'U' ? readHexadecimal(cursor) : meaningOf(escape));
}

std::optional<std::string> readQuotedString(Cursor& cursor) {
  const std::string stops = {cursor.take(1).front(), '\\'};
  UTF16Decoder text;
  while (true) {
    const std::size_t end = cursor.rest().find_first_of(stops);
    if (end == std::string_view::npos) return std::nullopt;
    if (end > 0) text.append(cursor.take(end));
    const bool isEscape = cursor.take(1) == "\\";
    if (!isEscape) return text.finish();
    readEscape(cursor, text);
  }
}

}  // namespace

bool isOpenStepString(const Cursor& cursor) {
  return cursor.startsWith("\"") || cursor.startsWith("'") ||
         (!cursor.isAtEnd() && isUnquoted(cursor.rest().front()));
}

std::optional<std::string> readOpenStepString(Cursor& cursor) {
  if (!isOpenStepString(cursor)) return std::nullopt;
  if (!isUnquoted(cursor.rest().front())) return readQuotedString(cursor);
  return std::string(cursor.takeWhile(isUnquoted));
}

}  // namespace velmora
