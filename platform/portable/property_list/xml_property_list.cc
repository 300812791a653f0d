#include "platform/portable/property_list/xml_property_list.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "platform/portable/property_list/nesting.h"
#include "platform/portable/property_list/xml_character_data.h"
#include "platform/portable/property_list/xml_values.h"
#include "platform/unreachable.h"

namespace velmora {
namespace {

using Outcome = PropertyListString::Outcome;

// As numbers: the library's own comparison is a call for each word, and most of the time went
// there.
template <std::size_t Size>
bool is(std::string_view name, const char (&word)[Size]) {
  return name.size() == Size - 1 && std::memcmp(name.data(), word, Size - 1) == 0;
}

constexpr auto isWhiteSpace = [](char character) {
  return character == ' ' || character == '\t' || character == '\n' || character == '\r';
};

// The elements that are open stand on a stack of one byte each; a function that meets a fault
// returns false, or nothing, and ends the reading. Strings are checked where they lie, and only
// the one that is sought is taken out, at the end.
class XMLReader {
 public:
  XMLReader(PropertyListText& text, std::string_view key)
      : text_(text), key_(key), cursor_(text.text(), text.progress()) {}

  std::optional<PropertyListString> read() {
    while (!isComplete_) {
      if (!readMarkup()) return std::nullopt;
    }
    if (value_.kind != Kind::dictionary) return PropertyListString{Outcome::notADictionary, {}};
    if (sought_.outcome != Outcome::found) return PropertyListString{sought_.outcome, {}};
    return std::move(text_).takeString(sought_.string, decodeCharacterData);
  }

 private:
  enum class Level : std::uint8_t { emptyPlist, fullPlist, array, dictionaryKey, dictionaryValue };
  enum class Kind { string, dictionary, other };
  struct Value {
    Kind kind = Kind::other;
    CharacterData string = {{}, true};
  };
  struct Sought {
    Outcome outcome = Outcome::missing;
    std::string_view string;
  };

  // What may stand between values: white space, comments, instructions, and tags.
  bool readMarkup() {
    skipWhiteSpace();
    if (!cursor_.accept('<')) return false;
    if (cursor_.accept('/')) return closeLevel();
    // Where Apple's reader begins to look for the end depends on where it stands: in an element
    // "<?>" is whole, and outside of every element "<!---->" is not.
    const bool isInside = !levels_.empty();
    if (cursor_.startsWith("?")) return cursor_.skipPast("?>", isInside ? 0 : 1);
    if (cursor_.startsWith("!--")) return cursor_.skipPast("-->", isInside ? 3 : 4);
    if (!isInside && cursor_.accept("!DOCTYPE")) return skipDocumentType();
    return readElement();
  }

  // One with an internal subset is refused: no version of Apple's reader takes it.
  bool skipDocumentType() {
    cursor_.takeWhile([](char character) { return character != '[' && character != '>'; });
    return cursor_.accept('>');
  }

  bool closeLevel() {
    if (levels_.empty()) return false;
    const Level level = levels_.back();
    levels_.pop_back();
    switch (level) {
      case Level::fullPlist:  // is as its value is
        return finishTag("plist") && endValue();
      case Level::array:
        return finishTag("array") && closeContainer(Kind::other);
      case Level::dictionaryKey:
        return finishTag("dict") && closeContainer(Kind::dictionary);
      case Level::emptyPlist:
      case Level::dictionaryValue:
        return false;
    }
    unreachable();
  }

  bool closeContainer(Kind kind) {
    --openContainers_;
    return endValue(kind);
  }

  // An opening tag; if it opens a scalar, all of it.
  bool readElement() {
    std::string_view name = cursor_.takeWhile(
        [](char character) { return character != '>' && !isWhiteSpace(character); });
    // What is behind a blank is looked at no more than Apple's reader does: at its last character.
    const bool isBare = cursor_.front() == '>';
    const bool isEmpty = isBare ? name.ends_with('/') : cursor_.takeUntil('>').ends_with('/');
    if (!cursor_.accept('>')) return false;
    if (isBare && isEmpty) name.remove_suffix(1);
    if (!mayStandHere(name)) return false;
    if (is(name, "key") || is(name, "string")) return readString(name, isEmpty);
    if (is(name, "plist")) return !isEmpty && open(Level::emptyPlist);
    if (is(name, "array")) return isEmpty ? endValue(Kind::other) : open(Level::array);
    if (is(name, "dict")) return isEmpty ? endValue(Kind::dictionary) : open(Level::dictionaryKey);
    if (is(name, "true") || is(name, "false")) {
      return (isEmpty || readClosingTag(name)) && endValue(Kind::other);
    }
    return !isEmpty && isContentOf(name) && readClosingTag(name) && endValue(Kind::other);
  }

  bool mayStandHere(std::string_view name) const {
    if (levels_.empty()) return true;
    if (levels_.back() == Level::dictionaryKey) return is(name, "key");
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

  bool readString(std::string_view name, bool isEmpty) {
    value_ = {Kind::string, {{}, true}};
    if (isEmpty) return endValue();
    const auto string = takeCharacterData(cursor_, text_.encoding());
    if (!string || !readClosingTag(name)) return false;
    value_.string = *string;
    return endValue();
  }

  // Takes what stands between tags where neither text nor elements do.
  bool isContentOf(std::string_view name) {
    if (is(name, "real")) return isReal();
    const std::string_view bytes = cursor_.takeUntil('<');
    const CountingCursor content(bytes, text_.progress());
    // As UTF-8, no character of Latin 1 would be one of the lone bytes that count as white space.
    if (is(name, "integer")) {
      return isPropertyListInteger(content) &&
             (text_.encoding() == StringEncoding::utf8 || isPropertyListData(content));
    }
    return (is(name, "date") && isPropertyListDate(content)) ||
           (is(name, "data") && isPropertyListData(content));
  }

  bool isReal() {
    constexpr std::size_t maximumSize = 1 << 16;  // of one that has to be decoded
    const auto characters = takeCharacterData(cursor_, text_.encoding());
    if (!characters) return false;
    if (characters->isPlain) return isPropertyListReal({characters->bytes, text_.progress()});
    const std::optional<std::string> real =
        text_.string(characters->bytes, maximumSize, decodeCharacterData);
    return real && isPropertyListReal({*real, text_.progress()});
  }

  bool readClosingTag(std::string_view name) { return cursor_.accept("</") && finishTag(name); }

  bool finishTag(std::string_view name) {
    if (!cursor_.accept(name)) return false;
    skipWhiteSpace();
    return cursor_.accept('>');
  }

  bool endValue(Kind kind) {
    value_.kind = kind;
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
      if (isEntry) isSought_ = isKey(value_.string);
    } else if (level == Level::dictionaryValue) {
      level = Level::dictionaryKey;
      if (isEntry && isSought_) noteSought();
    }
    return true;
  }

  bool isKey(const CharacterData& string) {
    if (string.isPlain) return string.bytes == key_;
    return text_.string(string.bytes, key_.size(), decodeCharacterData) == key_;
  }

  void noteSought() {
    const bool isString = value_.kind == Kind::string;
    sought_ = {isString ? Outcome::found : Outcome::notAString, value_.string.bytes};
  }

  void skipWhiteSpace() { cursor_.takeWhile(isWhiteSpace); }

  PropertyListText& text_;
  const std::string_view key_;
  CountingCursor cursor_;
  std::vector<Level> levels_;
  std::size_t openContainers_ = 0;
  std::size_t topLevelDepth_ = 0;
  bool isTopLevelDictionary_ = false;
  bool isComplete_ = false;
  Value value_;            // the last that has ended
  bool isSought_ = false;  // whether the last key of the top-level dictionary is the one
  Sought sought_;
};

}  // namespace

std::optional<PropertyListString> xmlPropertyListString(PropertyListText& text,
                                                        std::string_view key) {
  return XMLReader(text, key).read();
}

}  // namespace velmora
