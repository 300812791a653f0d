#include "platform/portable/property_list/openstep_string.h"

#include <array>
#include <cstddef>

#include "platform/portable/text/ascii.h"
#include "platform/portable/text/hexadecimal.h"
#include "platform/utf8.h"

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

// What may stand in a string without quotes.
constexpr auto unquoted = [] {
  std::array<bool, 256> table = {};
  for (const char character : std::string_view("0123456789_$/:.-"
                                               "abcdefghijklmnopqrstuvwxyz"
                                               "ABCDEFGHIJKLMNOPQRSTUVWXYZ")) {
    table[static_cast<unsigned char>(character)] = true;
  }
  return table;
}();

constexpr auto mayStandUnquoted = [](char character) {
  return unquoted[static_cast<unsigned char>(character)];
};

bool isOctalDigit(const Cursor& cursor) {
  return cursor.front() >= '0' && cursor.front() <= '7';
}

// Three digits at most, of which the lowest eight bits count.
char32_t readOctal(Cursor& cursor) {
  unsigned value = 0;
  for (int digits = 0; digits < 3 && isOctalDigit(cursor); ++digits) {
    value = value << 3 | static_cast<unsigned>(cursor.take(1).front() - '0');
  }
  value &= 0xFF;
  return value < 0x80 ? value : nextStepCharacters[value - 0x80];
}

// Four digits at most; none at all mean U+0000.
char32_t readUnit(Cursor& cursor) {
  char32_t value = 0;
  for (int digits = 0; digits < 4; ++digits) {
    const std::optional<unsigned> digit = hexadecimalValue(cursor.front());
    if (!digit) break;
    value = value << 4 | *digit;
    cursor.take(1);
  }
  return value;
}

// What is behind a "U". Two escapes may make one character.
char32_t readHexadecimal(Cursor& cursor) {
  const char32_t unit = readUnit(cursor);
  // Only looked at: where it is no second half, it stays to be read as an escape of its own.
  Cursor behind = cursor;
  if (isHighSurrogate(unit) && behind.accept("\\U")) {
    const char32_t next = readUnit(behind);
    if (isLowSurrogate(next)) {
      cursor.take(cursor.rest().size() - behind.rest().size());
      return scalarOfSurrogates(unit, next);
    }
  }
  return isScalar(unit) ? unit : replacementCharacter;
}

char32_t meaningOf(char escape) {
  constexpr std::string_view letters = "abfnrtv";
  constexpr std::string_view meanings = "\a\b\f\n\r\t\v";
  const std::size_t at = letters.find(escape);
  return static_cast<unsigned char>(at == std::string_view::npos ? escape : meanings[at]);
}

// What stands behind a backslash. One that means nothing else is the character itself, which
// is left in place if it is no ASCII; so a small "u" is not the escape that "U" is.
void readEscape(Cursor& cursor, DecodedText& text) {
  if (cursor.isAtEnd() || static_cast<unsigned char>(cursor.front()) >= 0x80) return;
  if (isOctalDigit(cursor)) {
    text.append(readOctal(cursor));
    return;
  }
  const char escape = cursor.take(1).front();
  text.append(escape == 'U' ? readHexadecimal(cursor) : meaningOf(escape));
}

// Takes up to the quote that is not behind a backslash.
bool skipToQuote(CountingCursor& cursor, char quote) {
  while (true) {
    cursor.takeWhile([quote](char character) { return character != quote && character != '\\'; });
    if (!cursor.accept("\\")) return !cursor.isAtEnd();
    // What is escaped may be the quote itself.
    if (cursor.isAtEnd()) return false;
    cursor.take(1);
  }
}

}  // namespace

bool isOpenStepString(const Cursor& cursor) {
  return cursor.front() == '"' || cursor.front() == '\'' || mayStandUnquoted(cursor.front());
}

OpenStepString takeOpenStepString(CountingCursor& cursor) {
  using Kind = OpenStepString::Kind;
  const char quote = cursor.front();
  if (mayStandUnquoted(quote)) return {cursor.takeWhile(mayStandUnquoted), Kind::plain};
  if (!cursor.acceptAny("\"'")) return {};
  const std::string_view begin = cursor.rest();
  // Most strings hold nothing but ASCII and end here, without a look at each character.
  cursor.takeLength([quote](std::string_view piece) { return asciiLength(piece, quote, '\\'); });
  const bool isPlain = cursor.front() == quote;
  if (!isPlain && !skipToQuote(cursor, quote)) return {};
  const std::string_view bytes = begin.substr(0, begin.size() - cursor.rest().size());
  cursor.take(1);
  return {bytes, isPlain ? Kind::plain : Kind::encoded};
}

bool decodeOpenStepString(std::string_view bytes, DecodedText& into) {
  CountingCursor cursor(bytes, into.progress());
  while (true) {
    into.append(cursor.takeUntil('\\'));
    if (!cursor.accept('\\')) return true;
    readEscape(cursor, into);
  }
}

}  // namespace velmora
