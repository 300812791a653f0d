#include "platform/portable/property_list/encoding.h"

#include <limits>

#include "platform/portable/text/ascii.h"

namespace velmora {
namespace {

using namespace std::string_view_literals;

// What is in the name of an encoding in which ASCII bytes may mean something else.
constexpr std::string_view otherThanASCII[] = {"utf16", "utf32", "utf7",   "ucs2",    "ucs4",
                                               "cp037", "hzgb",  "ibm037", "iso2022", "ebcdic"};

// The letters, in lower case, and the digits of a name: "UTF_8" and "utf-8" are the same.
std::string essenceOf(std::string_view name) {
  std::string essence;
  for (const char character : name) {
    const bool isCapital = character >= 'A' && character <= 'Z';
    const char small = isCapital ? static_cast<char>(character + 32) : character;
    if ((small >= 'a' && small <= 'z') || (small >= '0' && small <= '9')) essence += small;
  }
  return essence;
}

// The name behind `encoding=` in the XML declaration; "utf-8" where there is none.
std::string_view declaredEncoding(std::string_view bytes, ReadingProgress& progress) {
  constexpr std::string_view none = "utf-8";
  CountingCursor cursor(bytes, progress);
  if (!cursor.accept("<?xml")) return none;
  CountingCursor declaration = cursor;
  cursor.takeWhile([](char character) { return character != '?' && character != '>'; });
  const std::size_t behind = cursor.rest().size();
  if (!declaration.skipPast("encoding=") || declaration.rest().size() < behind) return none;
  const std::string_view quote = declaration.rest().substr(0, 1);
  if (!declaration.acceptAny("\"'")) return none;
  const std::string_view name = declaration.takeUntil(quote.front());
  return declaration.isAtEnd() ? none : name;
}

}  // namespace

std::optional<PropertyListText> PropertyListText::of(std::string_view bytes,
                                                     ReadingProgress& progress) {
  // UTF-32 first: its little-endian mark begins with that of UTF-16.
  if (bytes.starts_with("\0\0\xFE\xFF"sv)) return convert(bytes, 4, true, progress);
  if (bytes.starts_with("\xFF\xFE\0\0"sv)) return convert(bytes, 4, false, progress);
  if (bytes.starts_with("\xFF\xFE"sv)) return convert(bytes, 2, false, progress);
  if (bytes.starts_with("\xFE\xFF"sv)) return convert(bytes, 2, true, progress);

  const bool isMarked = bytes.starts_with("\xEF\xBB\xBF"sv);
  if (isMarked) bytes.remove_prefix(3);
  if (bytes.empty()) return std::nullopt;
  const PropertyListText utf8(bytes, StringEncoding::utf8);
  if (isMarked) return utf8;
  if (bytes.substr(0, 2).find('\0') != std::string_view::npos) return std::nullopt;

  constexpr std::size_t maximumName = 255;  // longer ones are not looked at to the end
  const std::string name = essenceOf(declaredEncoding(bytes, progress).substr(0, maximumName));
  if (name == "utf8") return utf8;
  // What is no ASCII in US-ASCII is Latin 1 to Apple's strings.
  for (const char* known : {"usascii", "ascii", "iso88591", "latin1"}) {
    if (name == known) return PropertyListText(bytes, StringEncoding::latin1);
  }
  for (const std::string_view family : otherThanASCII) {
    if (name.find(family) != std::string::npos) return std::nullopt;
  }
  CountingCursor cursor(bytes, progress);
  cursor.takeLength([](std::string_view piece) { return asciiLength(piece); });
  return cursor.isAtEnd() ? std::optional(utf8) : std::nullopt;
}

std::optional<PropertyListText> PropertyListText::convert(std::string_view bytes,
                                                          std::size_t unitSize, bool isBigEndian,
                                                          ReadingProgress& progress) {
  const std::string_view units = bytes.substr(unitSize);  // behind the mark
  std::optional<std::string> text =
      decodedExactly(progress, StringEncoding::utf8, std::numeric_limits<std::size_t>::max(),
                     [&](DecodedText& decoded) {
                       if (unitSize == 2) return appendUTF16(units, isBigEndian, decoded);
                       appendUTF32(units, isBigEndian, decoded);
                       return true;
                     });
  if (!text || text->empty()) return std::nullopt;
  return PropertyListText(*std::move(text), bytes.size());
}

}  // namespace velmora
