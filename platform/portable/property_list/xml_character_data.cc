#include "platform/portable/property_list/xml_character_data.h"

#include <cstdint>
#include <utility>

#include "platform/portable/text/hexadecimal.h"

namespace velmora {
namespace {

// Up to eight digits; none at all mean U+0000.
bool readCharacterReference(Cursor& cursor, DecodedText& text) {
  const unsigned base = cursor.accept("x") ? 16 : 10;
  const std::size_t length = cursor.rest().substr(0, 9).find(';');
  if (length == std::string_view::npos) return false;
  std::uint64_t value = 0;
  for (const char character : cursor.take(length)) {
    const std::optional<unsigned> digit = hexadecimalValue(character);
    if (!digit || *digit >= base) return false;
    value = value * base + *digit;
  }
  text.append(static_cast<char32_t>(value));
  return cursor.accept(";");
}

bool readReference(Cursor& cursor, DecodedText& text) {
  constexpr std::pair<std::string_view, char32_t> entities[] = {
      {"lt;", '<'}, {"gt;", '>'}, {"amp;", '&'}, {"apos;", '\''}, {"quot;", '"'}};
  for (const auto& [name, character] : entities) {
    if (!cursor.accept(name)) continue;
    text.append(character);
    return true;
  }
  return cursor.accept("#") && readCharacterReference(cursor, text);
}

bool readSection(CountingCursor& cursor, DecodedText& text) {
  constexpr std::string_view end = "]]>";
  const std::string_view rest = cursor.rest();
  if (!cursor.skipPast(end)) return false;
  text.append(rest.substr(0, rest.size() - cursor.rest().size() - end.size()));
  return true;
}

// Reads up to what is no character data: a tag, or the end.
bool readPieces(CountingCursor& cursor, DecodedText& text) {
  bool isRead = true;
  while (isRead && text.isSound()) {
    text.append(
        cursor.takeWhile([](char character) { return character != '<' && character != '&'; }));
    if (cursor.accept("&")) {
      isRead = readReference(cursor, text);
    } else if (cursor.accept("<![CDATA[")) {
      isRead = readSection(cursor, text);
    } else {
      return text.isSound();
    }
  }
  return false;
}

}  // namespace

std::optional<CharacterData> takeReferences(CountingCursor& cursor, StringEncoding encoding) {
  const std::string_view begin = cursor.rest();
  DecodedText measured(cursor.progress(), encoding);
  if (!readPieces(cursor, measured) || !measured.finish() || cursor.isAtEnd()) return std::nullopt;
  return CharacterData{begin.substr(0, begin.size() - cursor.rest().size()), false};
}

bool decodeCharacterData(std::string_view bytes, DecodedText& into) {
  CountingCursor cursor(bytes, into.progress());
  into.dropByteOrderMark();
  return readPieces(cursor, into);
}

}  // namespace velmora
