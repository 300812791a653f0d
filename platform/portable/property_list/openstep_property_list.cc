#include "platform/portable/property_list/openstep_property_list.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/portable/property_list/encoding.h"
#include "platform/portable/property_list/nesting.h"
#include "platform/portable/property_list/openstep_string.h"
#include "platform/portable/text/cursor.h"
#include "platform/portable/text/hexadecimal.h"
#include "platform/unreachable.h"

namespace velmora {
namespace {

using Outcome = PropertyListString::Outcome;

constexpr std::string_view lineSeparator = "\u2028";
constexpr std::string_view paragraphSeparator = "\u2029";

// The containers that are open stand on a stack of one byte
// each; a function that meets a fault returns false, or nothing, and ends the reading.
class OpenStepReader {
 public:
  enum class Form { object, stringsFile };

  OpenStepReader(std::string_view text, std::string_view key, Form form)
      : cursor_(text), key_(key), form_(form) {
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
    std::optional<std::string> text = readOpenStepString(cursor_);
    return text && endValue(Kind::string, *std::move(text));
  }

  bool readKeyOrEnd() {
    if (!isOpenStepString(cursor_)) {
      if (form_ == Form::object || levels_.size() > 1)
        return cursor_.accept("}") && close(Kind::dictionary);
      kind_ = Kind::dictionary;
      place_ = Place::end;
      return true;
    }
    std::optional<std::string> text = readOpenStepString(cursor_);
    if (!text) return false;
    if (levels_.size() == 1) isSought_ = *text == key_;
    skipSpace();
    if (cursor_.accept("=")) {
      place_ = Place::value;
      return true;
    }
    // A key alone stands for itself.
    return cursor_.startsWith(";") && endValue(Kind::string, *std::move(text));
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

  // Pairs of digits with white space, but no comments, between the pairs.
  bool readData() {
    while (!cursor_.accept(">")) {
      const std::string_view pair = cursor_.rest().substr(0, 2);
      if (pair.size() == 2 && hexadecimalValue(pair[0]) && hexadecimalValue(pair[1])) {
        cursor_.take(2);
      } else if (!cursor_.acceptAny(" \n\t\r") && !acceptSeparator()) {
        return false;
      }
    }
    return true;
  }

  // White space and comments. A comment that does not end reaches to the end of the text.
  void skipSpace() {
    while (true) {
      if (cursor_.accept("//")) {
        skipLine();
      } else if (cursor_.accept("/*")) {
        if (!cursor_.skipPast("*/")) cursor_.take(cursor_.rest().size());
      } else if (!cursor_.acceptAny(" \t\n\v\f\r") && !acceptSeparator()) {
        break;
      }
    }
  }

  void skipLine() {
    while (!cursor_.isAtEnd() && !cursor_.acceptAny("\n\r") && !acceptSeparator()) cursor_.take(1);
  }

  bool acceptSeparator() {
    return cursor_.accept(lineSeparator) || cursor_.accept(paragraphSeparator);
  }

  Cursor cursor_;
  const std::string_view key_;
  const Form form_;
  std::vector<Level> levels_;
  Place place_ = Place::value;
  Kind kind_ = Kind::other;  // of the top level, at the end
  bool isSought_ = false;    // whether the last key of the top-level dictionary is the one
  PropertyListString sought_{Outcome::missing, {}};
};

}  // namespace

std::optional<PropertyListString> openStepPropertyListString(std::string_view text,
                                                             std::string_view key) {
  using Form = OpenStepReader::Form;
  const std::optional<std::string> decoded = utf8OfNearUTF8(text);
  if (!decoded) return std::nullopt;
  text = *decoded;
  OpenStepReader object(text, key, Form::object);
  if (object.isAtEndOfText()) return PropertyListString{Outcome::missing, {}};
  if (!object.read()) return std::nullopt;
  if (object.isAtEndOfText()) return std::move(object).result();
  // A string with something behind it can only be the first key of a strings file.
  if (!object.isString()) return std::nullopt;
  OpenStepReader stringsFile(text, key, Form::stringsFile);
  if (!stringsFile.read()) return std::nullopt;
  return std::move(stringsFile).result();
}

}  // namespace velmora
