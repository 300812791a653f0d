#include "platform/portable/property_list/encoding.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/portable/text/ascii.h"

namespace velmora {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view latin1[] = {"usascii", "ascii", "iso88591", "latin1"};

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

// The name behind `encoding=` in the XML declaration.
std::optional<std::string_view> declaredEncoding(std::string_view bytes,
                                                 ReadingProgress& progress) {
  CountingCursor cursor(bytes, progress);
  if (!cursor.accept("<?xml")) return std::nullopt;
  const std::string_view rest = cursor.rest();
  const std::string_view declaration =
      cursor.takeWhile([](char character) { return character != '?' && character != '>'; });
  CountingCursor attribute(declaration, progress);
  if (!attribute.skipPast("encoding=")) return std::nullopt;
  // The name may hold what ends a declaration.
  CountingCursor value(rest.substr(declaration.size() - attribute.rest().size()), progress);
  const char quote = value.front();
  if (!value.acceptAny("\"'")) return std::nullopt;
  const std::string_view name = value.takeUntil(quote);
  return value.isAtEnd() ? std::nullopt : std::optional(name);
}

}  // namespace

std::optional<PropertyListText> PropertyListText::of(std::string_view bytes,
                                                     ReadingProgress& progress) {
  // UTF-32 first: its little-endian mark begins with that of UTF-16.
  if (bytes.starts_with("\0\0\xFE\xFF"sv)) return convert(bytes, 4, true, progress);
  if (bytes.starts_with("\xFF\xFE\0\0"sv)) return convert(bytes, 4, false, progress);
  if (bytes.starts_with("\xFF\xFE"sv)) return convert(bytes, 2, false, progress);
  if (bytes.starts_with("\xFE\xFF"sv)) return convert(bytes, 2, true, progress);

  PropertyListText text(bytes.size(), progress);
  const bool isMarked = bytes.starts_with("\xEF\xBB\xBF"sv);
  text.inFile_ = bytes.substr(isMarked ? 3 : 0);
  if (text.inFile_.empty()) return std::nullopt;
  if (isMarked) return text;
  if (bytes.substr(0, 2).find('\0') != std::string_view::npos) return std::nullopt;

  constexpr std::size_t maximumName = 255;  // longer ones are not looked at to the end
  const std::optional<std::string_view> declared = declaredEncoding(bytes, progress);
  if (!declared) return text;
  const std::string name = essenceOf(declared->substr(0, maximumName));
  // What is no ASCII in US-ASCII is Latin 1 to Apple's strings.
  const bool isLatin1 = std::ranges::find(latin1, name) != std::end(latin1);
  if (isLatin1) text.encoding_ = StringEncoding::latin1;
  if (isLatin1 || name == "utf8") return text;
  for (const std::string_view family : otherThanASCII) {
    if (name.find(family) != std::string::npos) return std::nullopt;
  }
  CountingCursor cursor(bytes, progress);
  cursor.takeLength([](std::string_view piece) { return asciiLength(piece); });
  return cursor.isAtEnd() ? std::optional(text) : std::nullopt;
}

std::optional<PropertyListText> PropertyListText::convert(std::string_view bytes,
                                                          std::size_t unitSize, bool isBigEndian,
                                                          ReadingProgress& progress) {
  const auto decode = [&](DecodedText& into) {
    const std::string_view units = bytes.substr(unitSize);  // behind the mark
    if (unitSize == 2) return appendUTF16(units, isBigEndian, into);
    appendUTF32(units, isBigEndian, into);
    return true;
  };
  std::optional<std::string> converted =
      decodedExactly(progress, StringEncoding::utf8, 2 * bytes.size(), decode);
  if (!converted || converted->empty()) return std::nullopt;
  PropertyListText text(bytes.size(), progress);
  text.converted_ = *std::move(converted);
  text.isConverted_ = true;
  return text;
}

std::optional<std::string> PropertyListText::string(std::string_view part, std::size_t limit,
                                                    Decode& decode) const {
  return decodedExactly(*progress_, encoding_, limit,
                        [&](DecodedText& into) { return decode(part, into); });
}

PropertyListString PropertyListText::takeString(std::string_view part, Decode& decode) && {
  using Outcome = PropertyListString::Outcome;
  if (isConverted_ && part.size() > fileSize_ / 2) {
    // Within the text: no string grows while it is decoded.
    DecodedText into(*progress_, encoding_, &converted_);
    decode(part, into);
    into.finish();
    return {Outcome::found, std::move(converted_)};
  }
  std::optional<std::string> value = string(part, 2 * fileSize_, decode);
  if (!value) return {Outcome::notAString, {}};
  return {Outcome::found, *std::move(value)};
}

}  // namespace velmora
