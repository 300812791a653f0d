#include "platform/portable/property_list/encoding.h"

#include <algorithm>
#include <cstddef>

#include "platform/utf8.h"

namespace velmora {
namespace {

constexpr char32_t replacementCharacter = 0xFFFD;

// What such an encoding has in its name.
constexpr std::string_view noSupersetsOfASCII[] = {"utf16", "utf32", "utf7",    "ucs2",   "ucs4",
                                                   "hzgb",  "cp037", "iso2022", "ebcdic", "ibm037"};

bool isHighSurrogate(char16_t unit) {
  return (unit & 0xFC00) == 0xD800;
}
bool isLowSurrogate(char16_t unit) {
  return (unit & 0xFC00) == 0xDC00;
}

template <typename Unit>
Unit unitAt(std::string_view bytes, std::size_t at, bool isBigEndian) {
  Unit unit = 0;
  for (std::size_t index = 0; index < sizeof(Unit); ++index) {
    const std::size_t byte = isBigEndian ? index : sizeof(Unit) - 1 - index;
    unit = static_cast<Unit>(unit << 8 | static_cast<unsigned char>(bytes[at + byte]));
  }
  return unit;
}

// A last unit cut short is passed over, as Apple's reader does.
void decodeUTF16(std::string_view bytes, bool isBigEndian, UTF16Decoder& decoder) {
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    decoder.append(unitAt<char16_t>(bytes, at, isBigEndian));
  }
}

std::optional<std::string> textOfUTF16(std::string_view bytes, bool isBigEndian) {
  UTF16Decoder decoder;
  decodeUTF16(bytes, isBigEndian, decoder);
  std::string text = decoder.finish();
  if (decoder.isLossy()) return std::nullopt;
  return text;
}

std::optional<std::string> textOfUTF32(std::string_view bytes, bool isBigEndian) {
  std::string text;
  for (std::size_t at = 0; at + 3 < bytes.size(); at += 4) {
    const char32_t scalar = unitAt<char32_t>(bytes, at, isBigEndian);
    if (!isScalar(scalar)) return std::nullopt;
    appendScalar(text, scalar);
  }
  return text;
}

// The letters, made small, and the digits of a name: whether it is "UTF_8" or "utf-8" does not
// count.
std::string essenceOf(std::string_view name) {
  std::string essence;
  for (const char character : name) {
    const bool isCapital = character >= 'A' && character <= 'Z';
    const char small = isCapital ? static_cast<char>(character + 32) : character;
    if ((small >= 'a' && small <= 'z') || (small >= '0' && small <= '9')) essence += small;
  }
  return essence;
}

// The essence of the name behind `encoding=` in the XML declaration; "utf8" where there is none.
std::string declaredEncoding(std::string_view bytes) {
  constexpr std::string_view attribute = "encoding=";
  std::string name = "utf8";
  if (!bytes.starts_with("<?xml")) return name;
  bytes.remove_prefix(5);
  const std::string_view declaration = bytes.substr(0, bytes.find_first_of("?>"));
  const std::size_t at = declaration.find(attribute);
  if (at == std::string_view::npos) return name;
  const std::string_view value = bytes.substr(at + attribute.size());
  if (value.empty() || (value.front() != '"' && value.front() != '\'')) return name;
  const std::size_t end = value.find(value.front(), 1);
  if (end == std::string_view::npos) return name;
  return essenceOf(value.substr(1, end - 1));
}

// Whether ASCII bytes may mean something else in the encoding of this name.
bool mayBeNoSupersetOfASCII(std::string_view name) {
  return std::ranges::any_of(noSupersetsOfASCII, [&](std::string_view family) {
    return name.find(family) != std::string_view::npos;
  });
}

bool isASCII(std::string_view bytes) {
  return std::ranges::all_of(bytes,
                             [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

}  // namespace

std::optional<std::string_view> propertyListText(std::string_view bytes, std::string& storage) {
  using namespace std::string_view_literals;
  const auto keep = [&storage](std::optional<std::string> text) -> std::optional<std::string_view> {
    if (!text) return std::nullopt;
    storage = *std::move(text);
    return storage;
  };
  // UTF-32 first: its little-endian mark begins with that of UTF-16.
  if (bytes.starts_with("\0\0\xFE\xFF"sv)) return keep(textOfUTF32(bytes.substr(4), true));
  if (bytes.starts_with("\xFF\xFE\0\0"sv)) return keep(textOfUTF32(bytes.substr(4), false));
  if (bytes.starts_with("\xEF\xBB\xBF"sv)) return bytes.substr(3);
  if (bytes.starts_with("\xFF\xFE"sv)) return keep(textOfUTF16(bytes.substr(2), false));
  if (bytes.starts_with("\xFE\xFF"sv)) return keep(textOfUTF16(bytes.substr(2), true));
  if (bytes.substr(0, 2).find('\0') != std::string_view::npos) return std::nullopt;

  const std::string name = declaredEncoding(bytes);
  if (name == "utf8") return bytes;
  // What is no ASCII in US-ASCII is Latin 1 to Apple's strings.
  for (const char* known : {"usascii", "ascii", "iso88591", "latin1"}) {
    if (name == known) return keep(utf8OfLatin1(bytes));
  }
  if (!mayBeNoSupersetOfASCII(name) && isASCII(bytes)) return bytes;
  return std::nullopt;
}

void UTF16Decoder::append(char16_t unit) {
  if (highSurrogate_ != 0 && isLowSurrogate(unit)) {
    const char32_t high = highSurrogate_ & 0x3FFU;
    appendScalar(text_, 0x10000 + (high << 10 | (unit & 0x3FFU)));
    highSurrogate_ = 0;
    return;
  }
  closeSurrogate();
  if (isHighSurrogate(unit)) {
    highSurrogate_ = unit;
  } else if (isLowSurrogate(unit)) {
    lossy_ = true;
    appendScalar(text_, replacementCharacter);
  } else {
    appendScalar(text_, unit);
  }
}

void UTF16Decoder::append(std::string_view utf8) {
  closeSurrogate();
  text_ += utf8;
}

std::string UTF16Decoder::finish() {
  closeSurrogate();
  return std::move(text_);
}

void UTF16Decoder::closeSurrogate() {
  if (highSurrogate_ == 0) return;
  lossy_ = true;
  highSurrogate_ = 0;
  appendScalar(text_, replacementCharacter);
}

std::string utf8OfUTF16BigEndian(std::string_view bytes) {
  UTF16Decoder decoder;
  decodeUTF16(bytes, true, decoder);
  return decoder.finish();
}

std::optional<std::string> utf8OfNearUTF8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    const Scalar scalar = firstScalar(bytes);
    const bool isCopyrightSign = bytes.front() == '\xA9';  // of another encoding
    if (scalar.value == Scalar::none && !isCopyrightSign) return std::nullopt;
    appendScalar(text, isCopyrightSign ? replacementCharacter : scalar.value);
    bytes.remove_prefix(scalar.length);
  }
  return text;
}

std::string utf8OfLatin1(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (const char byte : bytes) appendScalar(text, static_cast<unsigned char>(byte));
  return text;
}

}  // namespace velmora
