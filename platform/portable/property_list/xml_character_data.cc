#include "platform/portable/property_list/xml_character_data.h"

#include <cstdint>
#include <utility>

#include "platform/portable/text/hexadecimal.h"
#include "platform/utf8.h"

namespace velmora {
namespace {

bool accept(std::string_view& rest, std::string_view expected) {
  if (!rest.starts_with(expected)) return false;
  rest.remove_prefix(expected.size());
  return true;
}

// Up to eight digits; none at all mean U+0000.
bool readCharacterReference(std::string_view& rest, std::string& bytes) {
  const unsigned base = accept(rest, "x") ? 16 : 10;
  const std::size_t length = rest.substr(0, 9).find(';');
  if (length == std::string_view::npos) return false;
  std::uint64_t value = 0;
  for (const char character : rest.substr(0, length)) {
    const std::optional<unsigned> digit = hexadecimalValue(character);
    if (!digit || *digit >= base) return false;
    value = value * base + *digit;
  }
  rest.remove_prefix(length + 1);
  const auto scalar = static_cast<char32_t>(value);
  if (!isScalar(scalar)) return false;
  appendScalar(bytes, scalar);
  return true;
}

bool readReference(std::string_view& rest, std::string& bytes) {
  constexpr std::pair<std::string_view, char> entities[] = {
      {"lt;", '<'}, {"gt;", '>'}, {"amp;", '&'}, {"apos;", '\''}, {"quot;", '"'}};
  for (const auto& [name, character] : entities) {
    if (!accept(rest, name)) continue;
    bytes += character;
    return true;
  }
  return accept(rest, "#") && readCharacterReference(rest, bytes);
}

}  // namespace

std::optional<std::string> readXMLText(std::string_view& rest) {
  std::string bytes;
  while (true) {
    const std::size_t end = rest.find_first_of("<&");
    if (end == std::string_view::npos) return std::nullopt;
    bytes += rest.substr(0, end);
    rest.remove_prefix(end);
    if (accept(rest, "&")) {
      if (!readReference(rest, bytes)) return std::nullopt;
    } else if (accept(rest, "<![CDATA[")) {
      const std::string_view section = rest.substr(0, rest.find("]]>"));
      bytes += section;
      rest.remove_prefix(section.size());
      if (!accept(rest, "]]>")) return std::nullopt;
    } else {
      break;
    }
  }
  constexpr std::string_view byteOrderMark = "\uFEFF";
  const bool isMarked = bytes.starts_with(byteOrderMark);
  return decodeUTF8(std::string_view(bytes).substr(isMarked ? byteOrderMark.size() : 0));
}

}  // namespace velmora
