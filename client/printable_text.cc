#include "client/printable_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

#include "platform/utf8.h"

namespace velmora {
namespace {

struct Range {
  char32_t first;
  char32_t last;
};

// Control characters, the two separators, and the format characters of Unicode 15.
constexpr std::array hiddenRanges = {
    Range{0x00, 0x1F},       Range{0x7F, 0x9F},       Range{0xAD, 0xAD},
    Range{0x0600, 0x0605},   Range{0x061C, 0x061C},   Range{0x06DD, 0x06DD},
    Range{0x070F, 0x070F},   Range{0x0890, 0x0891},   Range{0x08E2, 0x08E2},
    Range{0x180E, 0x180E},   Range{0x200B, 0x200F},   Range{0x2028, 0x202E},
    Range{0x2060, 0x206F},   Range{0xFEFF, 0xFEFF},   Range{0xFFF9, 0xFFFB},
    Range{0x110BD, 0x110BD}, Range{0x110CD, 0x110CD}, Range{0x13430, 0x1343F},
    Range{0x1BCA0, 0x1BCA3}, Range{0x1D173, 0x1D17A}, Range{0xE0001, 0xE007F},
};

std::size_t characterLength(unsigned char firstByte) {
  if (firstByte < 0xC0) return 1;
  return firstByte < 0xE0 ? 2 : firstByte < 0xF0 ? 3 : 4;
}

// The scalar that `character`, which is UTF-8, encodes.
char32_t scalarOf(std::string_view character) {
  constexpr std::array<unsigned char, 5> payload = {0, 0x7F, 0x1F, 0x0F, 0x07};
  char32_t scalar = static_cast<unsigned char>(character[0]) & payload[character.size()];
  for (const char byte : character.substr(1)) {
    scalar = scalar << 6 | (static_cast<unsigned char>(byte) & 0x3F);
  }
  return scalar;
}

std::string hexadecimal(std::uint32_t value) {
  std::array<char, 8> digits{};
  const auto result = std::to_chars(digits.begin(), digits.end(), value, 16);
  return {digits.data(), static_cast<std::size_t>(result.ptr - digits.data())};
}

std::string escapedByte(char byte) {
  const std::string digits = hexadecimal(static_cast<unsigned char>(byte));
  return (digits.size() < 2 ? "\\x0" : "\\x") + digits;
}

std::string printableCharacter(std::string_view character) {
  if (!decodeUTF8(character)) return escapedByte(character[0]);
  const char32_t scalar = scalarOf(character);
  if (scalar == '\\') return "\\\\";
  if (scalar == '\n') return "\\n";
  const bool isHidden = std::ranges::any_of(
      hiddenRanges, [=](Range range) { return scalar >= range.first && scalar <= range.last; });
  if (!isHidden) return std::string(character);
  return scalar < 0x80 ? escapedByte(character[0]) : "\\u{" + hexadecimal(scalar) + "}";
}

}  // namespace

std::string printableText(std::string_view bytes) {
  std::string result;
  result.reserve(bytes.size());
  while (!bytes.empty()) {
    std::string_view character =
        bytes.substr(0, characterLength(static_cast<unsigned char>(bytes.front())));
    if (!decodeUTF8(character)) character = bytes.substr(0, 1);
    result += printableCharacter(character);
    bytes.remove_prefix(character.size());
  }
  return result;
}

}  // namespace velmora
