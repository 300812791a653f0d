#include "platform/portable/property_list/xml_values.h"

#include <cstdint>
#include <limits>
#include <string>

#include "platform/portable/text/ascii.h"
#include "platform/portable/text/hexadecimal.h"

namespace velmora {
namespace {

bool isDigit(char character) {
  return character >= '0' && character <= '9';
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

void skipSpace(CountingCursor& cursor) {
  while (const std::size_t length = spaceLength(cursor.rest())) cursor.pass(length);
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

bool isPropertyListInteger(CountingCursor content) {
  skipSpace(content);
  const bool isNegative = content.startsWith("-");
  if (content.acceptAny("+-")) skipSpace(content);
  const std::uint64_t base = content.accept("0x") || content.accept("0X") ? 16 : 10;
  const std::uint64_t maximum = isNegative ? std::uint64_t{1} << 63  // the least is one further
                                           : std::numeric_limits<std::uint64_t>::max();
  std::uint64_t value = 0;
  const std::string_view digits = content.takeWhile([&](char character) {
    const std::optional<unsigned> digit = hexadecimalValue(character);
    // Asked before the digit is added, because the sum would already have gone round.
    if (!digit || *digit >= base || value > (maximum - *digit) / base) return false;
    value = value * base + *digit;
    return true;
  });
  return !digits.empty() && content.isAtEnd();
}

bool isPropertyListReal(CountingCursor content) {
  if (isNameOfReal(content.rest())) return true;
  skipSpace(content);
  content.acceptAny("+-");
  std::size_t digits = content.takeWhile(isDigit).size();
  if (content.accept(".")) digits += content.takeWhile(isDigit).size();
  if (digits == 0) return false;
  if (content.acceptAny("eE")) {
    content.acceptAny("+-");
    if (content.takeWhile(isDigit).empty()) return false;
  }
  return content.isAtEnd();
}

bool isPropertyListDate(CountingCursor content) {
  content.accept("-");
  content.takeWhile(isDigit);
  for (const char expected : std::string_view("-dd-ddTdd:dd:ddZ")) {
    const std::string_view wanted = expected == 'd' ? "0123456789" : std::string_view(&expected, 1);
    if (!content.acceptAny(wanted)) return false;
  }
  return content.isAtEnd();
}

bool isPropertyListData(CountingCursor content) {
  content.takeLength([](std::string_view piece) { return asciiLength(piece); });
  return content.isAtEnd();
}

}  // namespace velmora
