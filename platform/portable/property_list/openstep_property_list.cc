#include "platform/portable/property_list/openstep_property_list.h"

#include <array>
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

constexpr auto isSpace = [](char character) {
  return character == ' ' || (character >= '\t' && character <= '\r');
};

constexpr auto isDataSpace = [](char character) {
  return isSpace(character) && character != '\v' && character != '\f';
};

constexpr std::string_view lineSeparator = "\u2028";
constexpr std::string_view paragraphSeparator = "\u2029";

// What white space and comments begin with.
constexpr auto mayBeSpace = [] {
  std::array<bool, 256> table = {};
  for (const char first : std::string_view(" \t\n\v\f\r/\xE2")) {
    table[static_cast<unsigned char>(first)] = true;
  }
  return table;
}();

// The containers that are open stand on a stack of one byte each; a function that meets a fault
// returns false, or nothing, and ends the reading.
class OpenStepReader {
 public:
  enum class Form { object, stringsFile };

  OpenStepReader(PropertyListText& text, std::string_view key, Form form)
      : text_(text), key_(key), form_(form), cursor_(text.text(), text.progress()) {
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
    return std::move(text_).takeString(sought_.bytes, decodeOpenStepString);
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
        return cursor_.accept(')') ? close(Kind::other) : readValue();
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
    if (cursor_.accept('{')) return open(Level::dictionary, Place::key);
    if (cursor_.accept('(')) return open(Level::array, Place::element);
    if (cursor_.accept('<')) return readData() && endValue(Kind::other, {});
    const OpenStepString string = takeOpenStepString(cursor_);
    return string.kind != OpenStepString::Kind::none && endValue(Kind::string, string);
  }

  bool readKeyOrEnd() {
    if (form_ == Form::object || levels_.size() > 1) {
      if (cursor_.accept('}')) return close(Kind::dictionary);
    } else if (!isOpenStepString(cursor_)) {
      kind_ = Kind::dictionary;
      place_ = Place::end;
      return true;
    }
    const OpenStepString string = takeOpenStepString(cursor_);
    if (string.kind == OpenStepString::Kind::none) return false;
    // The keys of inner dictionaries are not looked at.
    if (levels_.size() == 1) isSought_ = isKey(string);
    skipSpace();
    // A key alone stands for itself.
    if (!cursor_.accept('=')) return cursor_.front() == ';' && endValue(Kind::string, string);
    skipSpace();
    return readValue();
  }

  bool readSeparator() {
    if (levels_.back() == Level::array) {
      if (cursor_.accept(')')) return close(Kind::other);
      place_ = Place::element;
      return cursor_.accept(',');
    }
    place_ = Place::key;
    return cursor_.accept(';');
  }

  bool open(Level level, Place place) {
    // Apple's reader calls itself for each level and refuses more than these.
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
    if (string.kind == OpenStepString::Kind::plain) return string.bytes == key_;
    return text_.string(string.bytes, key_.size(), decodeOpenStepString) == key_;
  }

  // Pairs of digits with white space, but no comments, between the pairs.
  bool readData() {
    while (!cursor_.accept('>')) {
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
    while (mayBeSpace[static_cast<unsigned char>(cursor_.front())]) {
      if (isSpace(cursor_.front())) {
        cursor_.pass(1);
      } else if (!acceptSeparator() && !skipComment()) {
        return;
      }
    }
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
  CountingCursor cursor_;
  std::vector<Level> levels_;
  Place place_ = Place::value;
  Kind kind_ = Kind::other;  // of the top level, at the end
  bool isSought_ = false;    // whether the last key of the top-level dictionary is the one
  Outcome outcome_ = Outcome::missing;
  OpenStepString sought_{};
};

// Apple's reader looks at all of the text first.
bool isWholeText(const PropertyListText& text) {
  DecodedText whole(text.progress(), text.encoding());
  whole.append(text.text());
  return whole.finish();
}

}  // namespace

std::optional<PropertyListString> openStepPropertyListString(PropertyListText& text,
                                                             std::string_view key) {
  using Form = OpenStepReader::Form;
  if (!isWholeText(text)) return std::nullopt;
  OpenStepReader object(text, key, Form::object);
  if (object.isAtEndOfText()) return PropertyListString{Outcome::missing, {}};
  if (!object.read()) return std::nullopt;
  if (object.isAtEndOfText()) return object.takeResult();
  // A string with something behind it can only be the first key of a strings file.
  if (!object.isString()) return std::nullopt;
  OpenStepReader stringsFile(text, key, Form::stringsFile);
  if (!stringsFile.read()) return std::nullopt;
  return stringsFile.takeResult();
}

}  // namespace velmora
