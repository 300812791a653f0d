#include "platform/portable/property_list/xml_property_list.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/portable/property_list/nesting.h"
#include "platform/portable/property_list/xml_character_data.h"
#include "platform/portable/property_list/xml_values.h"
#include "platform/portable/text/cursor.h"
#include "platform/unreachable.h"

namespace velmora {
namespace {

using Outcome = PropertyListString::Outcome;

constexpr std::string_view whiteSpace = " \t\n\r";

bool isWhiteSpace(char character) {
  return whiteSpace.find(character) != std::string_view::npos;
}

// The elements that are open stand on a stack of one byte each;
// a function that meets a fault returns false, or nothing, and ends the reading.
class XMLReader {
 public:
  XMLReader(std::string_view text, std::string_view key) : cursor_(text), key_(key) {}

  std::optional<PropertyListString> read() {
    while (!isComplete_) {
      if (!readMarkup()) return std::nullopt;
    }
    if (value_.kind != Kind::dictionary) return PropertyListString{Outcome::notADictionary, {}};
    return std::move(sought_);
  }

 private:
  enum class Level : std::uint8_t { emptyPlist, fullPlist, array, dictionaryKey, dictionaryValue };
  enum class Kind { string, dictionary, other };
  struct Value {
    Kind kind = Kind::other;
    std::string text;
  };

  // What may stand between values: white space, comments, instructions, and tags.
  bool readMarkup() {
    skipWhiteSpace();
    if (!cursor_.accept("<")) return false;
    // Where Apple's reader begins to look for the end depends on where it stands: in an element
    // "<?>" is whole, and outside of every element "<!---->" is not.
    const bool isInside = !levels_.empty();
    if (cursor_.startsWith("?")) return cursor_.skipPast("?>", isInside ? 0 : 1);
    if (cursor_.startsWith("!--")) return cursor_.skipPast("-->", isInside ? 3 : 4);
    if (!isInside && cursor_.accept("!DOCTYPE")) return skipDocumentType();
    return cursor_.accept("/") ? closeLevel() : readElement();
  }

  // One with an internal subset is refused: no version of Apple's reader takes it.
  bool skipDocumentType() {
    cursor_.takeWhile([](char character) { return character != '[' && character != '>'; });
    return cursor_.accept(">");
  }

  bool closeLevel() {
    if (levels_.empty()) return false;
    const Level level = levels_.back();
    levels_.pop_back();
    switch (level) {
      case Level::fullPlist:  // is as its value is
        return finishTag("plist") && endValue();
      case Level::array:
        --openContainers_;
        value_ = {Kind::other, {}};
        return finishTag("array") && endValue();
      case Level::dictionaryKey:
        --openContainers_;
        value_ = {Kind::dictionary, {}};
        return finishTag("dict") && endValue();
      case Level::emptyPlist:
      case Level::dictionaryValue:
        return false;
    }
    unreachable();
  }

  // An opening tag; if it opens a scalar, all of it.
  bool readElement() {
    const std::size_t end = cursor_.rest().find('>');
    if (end == std::string_view::npos || end == 0) return false;
    std::string_view tag = cursor_.take(end);
    cursor_.take(1);
    const bool isEmpty = tag.ends_with('/');
    if (isEmpty) tag.remove_suffix(1);
    const std::string_view name = tag.substr(0, tag.find_first_of(whiteSpace));
    if (!mayStandHere(name)) return false;
    if (name == "plist") return !isEmpty && open(Level::emptyPlist);
    if (name == "array") return isEmpty ? endValue(Kind::other) : open(Level::array);
    if (name == "dict") return isEmpty ? endValue(Kind::dictionary) : open(Level::dictionaryKey);
    return readScalar(name, isEmpty);
  }

  bool mayStandHere(std::string_view name) const {
    if (levels_.empty()) return true;
    if (levels_.back() == Level::dictionaryKey) return name == "key";
    return levels_.back() != Level::fullPlist;
  }

  bool open(Level level) {
    if (level != Level::emptyPlist && ++openContainers_ > maximumNesting) return false;
    levels_.push_back(level);
    // The first container is the top level, or stands in one that is no dictionary.
    if (level != Level::emptyPlist && topLevelDepth_ == 0) {
      topLevelDepth_ = levels_.size();
      isTopLevelDictionary_ = level == Level::dictionaryKey;
    }
    return true;
  }

  bool readScalar(std::string_view name, bool isEmpty) {
    if (name == "string" || name == "key") {
      std::optional<std::string> text = isEmpty ? std::string() : readCharacterData(cursor_);
      if (!text || (!isEmpty && !readClosingTag(name))) return false;
      value_ = {Kind::string, *std::move(text)};
      return endValue();
    }
    const bool isTaken = name == "true" || name == "false" ? isEmpty || readClosingTag(name)
                                                           : !isEmpty && readPlainContent(name);
    return isTaken && endValue(Kind::other);
  }

  // The elements that may not be empty tags, with content other than text for its own sake.
  bool readPlainContent(std::string_view name) {
    bool isTaken = false;
    if (name == "real") {
      const std::optional<std::string> text = readCharacterData(cursor_);
      isTaken = text && isPropertyListReal(*text);
    } else {
      const std::string_view content =
          cursor_.takeWhile([](char character) { return character != '<'; });
      isTaken = (name == "integer" && isPropertyListInteger(content)) ||
                (name == "date" && isPropertyListDate(content)) ||
                (name == "data" && isPropertyListData(content));
    }
    return isTaken && readClosingTag(name);
  }

  bool readClosingTag(std::string_view name) { return cursor_.accept("</") && finishTag(name); }

  bool finishTag(std::string_view name) {
    if (!cursor_.accept(name)) return false;
    skipWhiteSpace();
    return cursor_.accept(">");
  }

  bool endValue(Kind kind) {
    value_ = {kind, {}};
    return endValue();
  }

  // Puts the value that has just ended in its place: the top level, or what is open around it.
  bool endValue() {
    if (levels_.empty()) {
      isComplete_ = true;
      return true;
    }
    const bool isEntry = isTopLevelDictionary_ && levels_.size() == topLevelDepth_;
    Level& level = levels_.back();
    if (level == Level::emptyPlist) {
      level = Level::fullPlist;
    } else if (level == Level::dictionaryKey) {
      level = Level::dictionaryValue;
      if (isEntry) isSought_ = value_.text == key_;
    } else if (level == Level::dictionaryValue) {
      level = Level::dictionaryKey;
      if (isEntry && isSought_) takeSought();
    }
    return true;
  }

  void takeSought() {
    const bool isString = value_.kind == Kind::string;
    sought_ = {isString ? Outcome::found : Outcome::notAString, std::move(value_.text)};
  }

  void skipWhiteSpace() { cursor_.takeWhile(isWhiteSpace); }

  Cursor cursor_;
  const std::string_view key_;
  std::vector<Level> levels_;
  std::size_t openContainers_ = 0;
  std::size_t topLevelDepth_ = 0;
  bool isTopLevelDictionary_ = false;
  bool isComplete_ = false;
  Value value_;            // the last that has ended
  bool isSought_ = false;  // whether the last key of the top-level dictionary is the one
  PropertyListString sought_{Outcome::missing, {}};
};

}  // namespace

std::optional<PropertyListString> xmlPropertyListString(std::string_view text,
                                                        std::string_view key) {
  return XMLReader(text, key).read();
}

}  // namespace velmora
