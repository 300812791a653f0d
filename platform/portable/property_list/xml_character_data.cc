#include "platform/portable/property_list/xml_character_data.h"

#include <cstdint>
#include <utility>

#include "platform/portable/property_list/encoding.h"
#include "platform/portable/text/hexadecimal.h"
#include "platform/utf8.h"

namespace velmora {
namespace {

// Up to eight digits; none at all mean U+0000.
bool readCharacterReference(Cursor& cursor, std::string& bytes) {
  const unsigned base = cursor.accept("x") ? 16 : 10;
  const std::size_t length = cursor.rest().substr(0, 9).find(';');
  if (length == std::string_view::npos) return false;
  std::uint64_t value = 0;
  for (const char character : cursor.take(length)) {
    const std::optional<unsigned> digit = hexadecimalValue(character);
    if (!digit || *digit >= base) return false;
    value = value * base + *digit;
  }
  cursor.accept(";");
  const auto scalar = static_cast<char32_t>(value);
  if (!isScalar(scalar)) return false;
  appendScalar(bytes, scalar);
  return true;
}

bool readReference(Cursor& cursor, std::string& bytes) {
  constexpr std::pair<std::string_view, char> entities[] = {
      {"lt;", '<'}, {"gt;", '>'}, {"amp;", '&'}, {"apos;", '\''}, {"quot;", '"'}};
  for (const auto& [name, character] : entities) {
    if (!cursor.accept(name)) continue;
    bytes += character;
    return true;
  }
  return cursor.accept("#") && readCharacterReference(cursor, bytes);
}

}  // namespace

std::optional<std::string> readCharacterData(Cursor& cursor) {
  std::string bytes;
  while (true) {
    bytes += cursor.takeWhile([](char character) { return character != '<' && character != '&'; });
    if (cursor.isAtEnd()) return std::nullopt;
    if (cursor.accept("&")) {
      if (!readReference(cursor, bytes)) return std::nullopt;
    } else if (cursor.accept("<![CDATA[")) {
      const std::size_t end = cursor.rest().find("]]>");
      if (end == std::string_view::npos) return std::nullopt;
      bytes += cursor.take(end);
      cursor.accept("]]>");
    } else {
      break;
    }
  }
  constexpr std::string_view byteOrderMark = "\uFEFF";
  const bool isMarked = bytes.starts_with(byteOrderMark);
  return utf8OfNearUTF8(std::string_view(bytes).substr(isMarked ? byteOrderMark.size() : 0));
}

}  // namespace velmora
