#include "platform/linux/property_list_text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/property_list_encoding.h"
#include "platform/text.h"

namespace velmora {
namespace {

using Outcome = PropertyListString::Outcome;

constexpr std::string_view lineSeparator = "\u2028";
constexpr std::string_view paragraphSeparator = "\u2029";

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

bool isUnquoted(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') ||
         std::string_view("_$/:.-").find(character) != std::string_view::npos;
}

// The value of a hexadecimal digit; nothing when it is none.
std::optional<unsigned> hexadecimalValue(char character) {
  const std::size_t value = std::string_view("0123456789abcdefABCDEF").find(character);
  if (value == std::string_view::npos) return std::nullopt;
  return static_cast<unsigned>(value < 16 ? value : value - 6);
}

// Reads from the front of the text. The containers that are open stand on a stack of one byte
// each; a function that meets a fault returns false, or nothing, and ends the reading.
class OldTextReader {
 public:
  enum class Form { object, stringsFile };

  OldTextReader(std::string_view text, std::string_view key, Form form)
      : rest_(text), key_(key), form_(form) {
    if (form_ == Form::stringsFile) open(Level::dictionary, Place::key);
  }

  // Whether the reading came to the end of the form without a fault.
  bool read() {
    while (place_ != Place::end) {
      if (!readPiece()) return false;
    }
    return true;
  }

  bool isAtEndOfText() {
    skipSpace();
    return rest_.empty();
  }

  bool isString() const { return kind_ == Kind::string; }

  PropertyListString result() && {
    if (kind_ != Kind::dictionary) return {Outcome::notADictionary, {}};
    return std::move(sought_);
  }

 private:
  enum class Level : std::uint8_t { array, dictionary };
  enum class Kind { string, dictionary, other };
  enum class Place { value, element, key, behindValue, end };

  bool readPiece() {
    skipSpace();
    switch (place_) {
      case Place::value:
        return readValue();
      case Place::element:
        if (accept(')')) return close(Kind::other);
        place_ = Place::value;
        return true;
      case Place::key:
        return readKeyOrEnd();
      case Place::behindValue:
        return readSeparator();
      case Place::end:
        break;
    }
    return true;
  }

  bool readValue() {
    if (accept('{')) return open(Level::dictionary, Place::key);
    if (accept('(')) return open(Level::array, Place::element);
    if (accept('<')) return readData() && endValue(Kind::other, {});
    std::optional<std::string> text = readString();
    return text && endValue(Kind::string, *std::move(text));
  }

  bool readKeyOrEnd() {
    if (!isAtString()) {
      if (form_ == Form::object || levels_.size() > 1)
        return accept('}') && close(Kind::dictionary);
      kind_ = Kind::dictionary;
      place_ = Place::end;
      return true;
    }
    std::optional<std::string> text = readString();
    if (!text) return false;
    if (levels_.size() == 1) isSought_ = *text == key_;
    skipSpace();
    if (accept('=')) {
      place_ = Place::value;
      return true;
    }
    // A key alone stands for itself.
    return rest_.starts_with(';') && endValue(Kind::string, *std::move(text));
  }

  bool readSeparator() {
    if (levels_.back() == Level::array) {
      if (accept(')')) return close(Kind::other);
      place_ = Place::element;
      return accept(',');
    }
    place_ = Place::key;
    return accept(';');
  }

  bool open(Level level, Place place) {
    levels_.push_back(level);
    place_ = place;
    return true;
  }

  bool close(Kind kind) {
    levels_.pop_back();
    return endValue(kind, {});
  }

  bool endValue(Kind kind, std::string text) {
    place_ = Place::behindValue;
    if (levels_.empty()) {
      kind_ = kind;
      place_ = Place::end;
    } else if (isSought_ && levels_.size() == 1) {
      // An array at the top level has no key, so nothing is sought in it.
      sought_ = {kind == Kind::string ? Outcome::found : Outcome::notAString, std::move(text)};
      isSought_ = false;
    }
    return true;
  }

  bool isAtString() const {
    return !rest_.empty() &&
           (rest_.front() == '"' || rest_.front() == '\'' || isUnquoted(rest_.front()));
  }

  std::optional<std::string> readString() {
    if (!isAtString()) return std::nullopt;
    if (!isUnquoted(rest_.front())) return readQuotedString();
    const auto end = std::ranges::find_if_not(rest_, isUnquoted);
    return take(static_cast<std::size_t>(end - rest_.begin()));
  }

  std::optional<std::string> readQuotedString() {
    const std::string stops = {rest_.front(), '\\'};
    rest_.remove_prefix(1);
    UTF16Decoder text;
    while (true) {
      const std::size_t end = rest_.find_first_of(stops);
      if (end == std::string_view::npos) return std::nullopt;
      if (end > 0) text.append(rest_.substr(0, end));
      rest_.remove_prefix(end);
      if (!accept('\\')) break;
      if (!readEscape(text)) return std::nullopt;
    }
    rest_.remove_prefix(1);
    return text.finish();
  }

  // What stands behind a backslash. One that means nothing else is the character itself, which
  // is left in place if it is no ASCII; so a small "u" is not the escape that "U" is.
  bool readEscape(UTF16Decoder& text) {
    if (rest_.empty()) return false;
    const char character = rest_.front();
    if (character >= '0' && character <= '7') {
      text.append(readOctal());
      return true;
    }
    if (static_cast<unsigned char>(character) >= 0x80) return true;
    rest_.remove_prefix(1);
    if (character == 'U') {
      text.append(readHexadecimal());
      return true;
    }
    constexpr std::string_view letters = "abfnrtv";
    constexpr std::string_view meanings = "\a\b\f\n\r\t\v";
    const std::size_t at = letters.find(character);
    text.append(static_cast<char16_t>(at == std::string_view::npos ? character : meanings[at]));
    return true;
  }

  // Three digits at most, of which the lowest eight bits count.
  char16_t readOctal() {
    unsigned value = 0;
    for (int digits = 0; digits < 3; ++digits) {
      if (rest_.empty() || rest_.front() < '0' || rest_.front() > '7') break;
      value = value << 3 | static_cast<unsigned>(rest_.front() - '0');
      rest_.remove_prefix(1);
    }
    value &= 0xFF;
    return value < 0x80 ? static_cast<char16_t>(value) : nextStepCharacters[value - 0x80];
  }

  // Four digits at most; none at all mean U+0000.
  char16_t readHexadecimal() {
    unsigned value = 0;
    for (int digits = 0; digits < 4 && !rest_.empty(); ++digits) {
      const std::optional<unsigned> digit = hexadecimalValue(rest_.front());
      if (!digit) break;
      value = value << 4 | *digit;
      rest_.remove_prefix(1);
    }
    return static_cast<char16_t>(value);
  }

  // Pairs of digits with white space, but no comments, between the pairs.
  bool readData() {
    while (!accept('>')) {
      if (rest_.size() >= 2 && hexadecimalValue(rest_[0]) && hexadecimalValue(rest_[1])) {
        rest_.remove_prefix(2);
      } else if (!accept(' ') && !accept('\n') && !accept('\t') && !accept('\r') &&
                 !acceptSeparator()) {
        return false;
      }
    }
    return true;
  }

  // White space and comments. A comment that does not end reaches to the end of the text.
  void skipSpace() {
    while (!rest_.empty()) {
      if (rest_.starts_with("//")) {
        skipLine();
      } else if (rest_.starts_with("/*")) {
        const std::size_t end = rest_.find("*/", 2);
        rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 2);
      } else if (rest_.front() == ' ' || (rest_.front() >= '\t' && rest_.front() <= '\r')) {
        rest_.remove_prefix(1);
      } else if (!acceptSeparator()) {
        break;
      }
    }
  }

  void skipLine() {
    while (!rest_.empty() && !rest_.starts_with('\n') && !rest_.starts_with('\r') &&
           !rest_.starts_with(lineSeparator) && !rest_.starts_with(paragraphSeparator)) {
      rest_.remove_prefix(1);
    }
  }

  bool accept(char expected) {
    if (!rest_.starts_with(expected)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  bool acceptSeparator() {
    if (!rest_.starts_with(lineSeparator) && !rest_.starts_with(paragraphSeparator)) return false;
    rest_.remove_prefix(lineSeparator.size());
    return true;
  }

  std::string take(std::size_t length) {
    std::string text(rest_.substr(0, length));
    rest_.remove_prefix(length);
    return text;
  }

  std::string_view rest_;
  const std::string_view key_;
  const Form form_;
  std::vector<Level> levels_;
  Place place_ = Place::value;
  Kind kind_ = Kind::other;  // of the top level, at the end
  bool isSought_ = false;    // whether the last key of the top-level dictionary is the one
  PropertyListString sought_{Outcome::missing, {}};
};

}  // namespace

std::optional<PropertyListString> oldTextPropertyListString(std::string_view text,
                                                            std::string_view key) {
  using Form = OldTextReader::Form;
  if (!decodeUTF8(text)) return std::nullopt;
  OldTextReader object(text, key, Form::object);
  if (object.isAtEndOfText()) return PropertyListString{Outcome::missing, {}};
  if (!object.read()) return std::nullopt;
  if (object.isAtEndOfText()) return std::move(object).result();
  // A string with something behind it can only be the first key of a strings file.
  if (!object.isString()) return std::nullopt;
  OldTextReader stringsFile(text, key, Form::stringsFile);
  if (!stringsFile.read()) return std::nullopt;
  return std::move(stringsFile).result();
}

}  // namespace velmora
