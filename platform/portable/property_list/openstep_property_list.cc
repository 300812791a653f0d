#include "platform/portable/property_list/openstep_property_list.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/portable/property_list/encoding.h"
#include "platform/portable/property_list/nesting.h"
#include "platform/portable/property_list/openstep_string.h"
#include "platform/portable/text/hexadecimal.h"
#include "platform/unreachable.h"

namespace velmora {
namespace {

using Outcome = PropertyListString::Outcome;

constexpr bool isSpace(char character) {
  return character == ' ' || (character >= '\t' && character <= '\r');
}

constexpr bool isDataSpace(char character) {
  return isSpace(character) && character != '\v' && character != '\f';
}

constexpr std::string_view lineSeparator = "\u2028";
constexpr std::string_view paragraphSeparator = "\u2029";

// The containers that are open stand on a stack of one byte each; a function that meets a fault
// returns false, or nothing, and ends the reading.
class OpenStepReader {
 public:
  enum class Form { object, stringsFile };

  OpenStepReader(PropertyListText& text, std::string_view key, Form form, ReadingProgress& progress)
      : text_(text), key_(key), form_(form), progress_(progress), cursor_(text.text(), progress) {
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
    return cursor_.isAtEnd();
  }

  bool isString() const { return kind_ == Kind::string; }

  PropertyListString takeResult() {
    if (kind_ != Kind::dictionary) return {Outcome::notADictionary, {}};
    if (outcome_ != Outcome::found) return {outcome_, {}};
    std::optional<std::string> string = std::move(text_).takeString(
        sought_.bytes, progress_,
        [&](std::string_view, DecodedText& text) { return decode(sought_, text); });
    if (!string) return {Outcome::notAString, {}};
    return {Outcome::found, *std::move(string)};
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
        if (cursor_.accept(")")) return close(Kind::other);
        place_ = Place::value;
        return true;
      case Place::key:
        return readKeyOrEnd();
      case Place::behindValue:
        return readSeparator();
      case Place::end:
        return true;
    }
    unreachable();
  }

  bool readValue() {
    if (cursor_.accept("{")) return open(Level::dictionary, Place::key);
    if (cursor_.accept("(")) return open(Level::array, Place::element);
    if (cursor_.accept("<")) return readData() && endValue(Kind::other, {});
    const std::optional<OpenStepString> string = takeOpenStepString(cursor_);
    return string && endValue(Kind::string, *string);
  }

  bool readKeyOrEnd() {
    if (!isOpenStepString(cursor_)) {
      if (form_ == Form::object || levels_.size() > 1)
        return cursor_.accept("}") && close(Kind::dictionary);
      kind_ = Kind::dictionary;
      place_ = Place::end;
      return true;
    }
    const std::optional<OpenStepString> string = takeOpenStepString(cursor_);
    if (!string) return false;
    if (levels_.size() == 1) isSought_ = isKey(*string);
    skipSpace();
    if (cursor_.accept("=")) {
      place_ = Place::value;
      return true;
    }
    // A key alone stands for itself.
    return cursor_.startsWith(";") && endValue(Kind::string, *string);
  }

  bool readSeparator() {
    if (levels_.back() == Level::array) {
      if (cursor_.accept(")")) return close(Kind::other);
      place_ = Place::element;
      return cursor_.accept(",");
    }
    place_ = Place::key;
    return cursor_.accept(";");
  }

  bool open(Level level, Place place) {
    if (levels_.size() == maximumNesting) return false;
    levels_.push_back(level);
    place_ = place;
    return true;
  }

  bool close(Kind kind) {
    levels_.pop_back();
    return endValue(kind, {});
  }

  bool endValue(Kind kind, const OpenStepString& string) {
    place_ = Place::behindValue;
    if (levels_.empty()) {
      kind_ = kind;
      place_ = Place::end;
    } else if (isSought_ && levels_.size() == 1) {
      // An array at the top level has no key, so nothing is sought in it.
      outcome_ = kind == Kind::string ? Outcome::found : Outcome::notAString;
      sought_ = string;
      isSought_ = false;
    }
    return true;
  }

  bool isKey(const OpenStepString& string) {
    if (string.isPlain) return string.bytes == key_;
    return decodedExactly(progress_, text_.encoding(), key_.size(),
                          [&](DecodedText& text) { return decode(string, text); }) == key_;
  }

  bool decode(const OpenStepString& string, DecodedText& text) {
    decodeOpenStepString(string.bytes, progress_, text);
    return true;
  }

  // Pairs of digits with white space, but no comments, between the pairs.
  bool readData() {
    while (!cursor_.accept(">")) {
      const std::string_view pair = cursor_.rest().substr(0, 2);
      if (pair.size() == 2 && hexadecimalValue(pair[0]) && hexadecimalValue(pair[1])) {
        cursor_.pass(2);
      } else if (cursor_.takeWhile(isDataSpace).empty() && !acceptSeparator()) {
        return false;
      }
    }
    return true;
  }

  // White space and comments. A comment that does not end reaches to the end of the text.
  void skipSpace() {
    do {
      cursor_.takeWhile(isSpace);
    } while (acceptSeparator() || skipComment());
  }

  bool skipComment() {
    if (cursor_.accept("//")) {
      skipLine();
    } else if (cursor_.accept("/*")) {
      if (!cursor_.skipPast("*/")) cursor_.take(cursor_.rest().size());
    } else {
      return false;
    }
    return true;
  }

  void skipLine() {
    while (!cursor_.isAtEnd() && !cursor_.acceptAny("\n\r") && !acceptSeparator()) {
      cursor_.pass(1);
      cursor_.takeWhile([](char character) {
        return character != '\n' && character != '\r' && character != lineSeparator.front();
      });
    }
  }

  bool acceptSeparator() {
    if (!cursor_.startsWith(lineSeparator) && !cursor_.startsWith(paragraphSeparator)) return false;
    cursor_.pass(lineSeparator.size());
    return true;
  }

  PropertyListText& text_;
  const std::string_view key_;
  const Form form_;
  ReadingProgress& progress_;
  CountingCursor cursor_;
  std::vector<Level> levels_;
  Place place_ = Place::value;
  Kind kind_ = Kind::other;  // of the top level, at the end
  bool isSought_ = false;    // whether the last key of the top-level dictionary is the one
  Outcome outcome_ = Outcome::missing;
  OpenStepString sought_{};
};

// Apple's reader looks at all of the text first.
bool isWholeText(const PropertyListText& text, ReadingProgress& progress) {
  DecodedText whole(progress, text.encoding());
  whole.append(text.text());
  return whole.finish();
}

}  // namespace

std::optional<PropertyListString> openStepPropertyListString(PropertyListText& text,
                                                             std::string_view key,
                                                             ReadingProgress& progress) {
  using Form = OpenStepReader::Form;
  if (!isWholeText(text, progress)) return std::nullopt;
  OpenStepReader object(text, key, Form::object, progress);
  if (object.isAtEndOfText()) return PropertyListString{Outcome::missing, {}};
  if (!object.read()) return std::nullopt;
  if (object.isAtEndOfText()) return object.takeResult();
  // A string with something behind it can only be the first key of a strings file.
  if (!object.isString()) return std::nullopt;
  OpenStepReader stringsFile(text, key, Form::stringsFile, progress);
  if (!stringsFile.read()) return std::nullopt;
  return stringsFile.takeResult();
}

}  // namespace velmora
