#include "platform/portable/property_list/xml_values.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>

#include "platform/portable/text/cursor.h"
#include "platform/portable/text/hexadecimal.h"

namespace velmora {
namespace {

bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

bool acceptDigit(Cursor& cursor) {
  return cursor.acceptAny("0123456789");
}

// The length of the white space at the front, as Apple's number scanners see it: all control
// characters and blanks of one byte, also as lone bytes, and the wide blanks.
std::size_t spaceLength(std::string_view rest) {
  if (rest.empty()) return 0;
  const auto first = static_cast<unsigned char>(rest.front());
  if (first < 0x21 || (first > 0x7E && first < 0xA1)) return 1;
  if (rest.starts_with("\u3000") || rest.starts_with("\u205F") || rest.starts_with("\u202F")) {
    return 3;
  }
  const bool isGeneralPunctuation = rest.size() > 2 && rest.starts_with("\xE2\x80");
  return isGeneralPunctuation && static_cast<unsigned char>(rest[2]) <= 0x8B ? 3 : 0;
}

void skipSpace(Cursor& cursor) {
  while (const std::size_t length = spaceLength(cursor.rest())) cursor.take(length);
}

bool isNameOfReal(std::string_view content) {
  std::string lower(content.substr(0, 10));
  for (char& character : lower) {
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character + 32);
  }
  if (lower == "nan") return true;
  if (lower.starts_with('+') || lower.starts_with('-')) lower.erase(0, 1);
  return content.size() <= 9 && (lower == "inf" || lower == "infinity");
}

}  // namespace

bool isPropertyListInteger(std::string_view content) {
  Cursor cursor(content);
  skipSpace(cursor);
  const bool isNegative = cursor.startsWith("-");
  if (cursor.acceptAny("+-")) skipSpace(cursor);
  const std::uint64_t base = cursor.accept("0x") || cursor.accept("0X") ? 16 : 10;
  const std::uint64_t maximum = isNegative ? std::uint64_t{1} << 63  // the least is one further
                                           : std::numeric_limits<std::uint64_t>::max();
  if (cursor.isAtEnd()) return false;
  std::uint64_t value = 0;
  for (const char character : cursor.rest()) {
    const std::optional<unsigned> digit = hexadecimalValue(character);
    if (!digit || *digit >= base || value > (maximum - *digit) / base) return false;
    value = value * base + *digit;
  }
  return true;
}

bool isPropertyListReal(std::string_view content) {
  if (isNameOfReal(content)) return true;
  Cursor cursor(content);
  skipSpace(cursor);
  cursor.acceptAny("+-");
  std::size_t digits = cursor.takeWhile(isDigit).size();
  if (cursor.accept(".")) digits += cursor.takeWhile(isDigit).size();
  if (digits == 0) return false;
  if (cursor.acceptAny("eE")) {
    cursor.acceptAny("+-");
    if (cursor.takeWhile(isDigit).empty()) return false;
  }
  return cursor.isAtEnd();
}

bool isPropertyListDate(std::string_view content) {
  Cursor cursor(content);
  cursor.accept("-");
  cursor.takeWhile(isDigit);
  for (const char expected : std::string_view("-dd-ddTdd:dd:ddZ")) {
    const bool isExpected = expected == 'd' ? acceptDigit(cursor) : cursor.accept({&expected, 1});
    if (!isExpected) return false;
  }
  return cursor.isAtEnd();
}

bool isPropertyListData(std::string_view content) {
  return std::ranges::all_of(content,
                             [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

}  // namespace velmora
