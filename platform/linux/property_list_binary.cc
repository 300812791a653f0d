#include "platform/linux/property_list_binary.h"

#include <algorithm>
#include <cstdint>
#include <stack>
#include <string>
#include <vector>

#include "platform/linux/property_list_encoding.h"

namespace velmora {
namespace {

using Outcome = PropertyListString::Outcome;

constexpr std::string_view signature = "bplist0";
constexpr std::size_t headerSize = 8;
constexpr std::size_t trailerSize = 32;

// An integer, most significant byte first. All but its last eight bytes are passed over.
std::uint64_t integer(std::string_view bytes) {
  std::uint64_t value = 0;
  for (const char byte : bytes.substr(bytes.size() - std::min<std::size_t>(bytes.size(), 8))) {
    value = value << 8 | static_cast<unsigned char>(byte);
  }
  return value;
}

// Whether integers of `size` bytes go past `value`.
bool canExceed(std::size_t size, std::uint64_t value) {
  return size >= 8 || std::uint64_t{1} << (8 * size) > value;
}

struct Object {
  enum class Kind { ascii, utf16, array, dictionary, other };

  bool isString() const { return kind == Kind::ascii || kind == Kind::utf16; }
  bool isContainer() const { return kind == Kind::array || kind == Kind::dictionary; }

  Kind kind;
  std::size_t content;  // where it begins
  std::size_t end;
  std::size_t count = 0;  // of characters, elements or entries
};

// The sections of the file: objects, then the table of their offsets, then the trailer.
class BinaryReader {
 public:
  explicit BinaryReader(std::string_view bytes) : bytes_(bytes) {}

  bool readTrailer();
  bool checkObjects();
  PropertyListString find(std::string_view key) const;

 private:
  // A container whose references up to `next` have been followed.
  struct OpenContainer {
    std::size_t offset;
    std::size_t next;
    std::size_t end;
  };
  enum class State : std::uint8_t { unseen, open, checked };

  bool checkOffsets() const;
  bool enter(std::uint64_t offset);
  bool haveNoContainers(const Object& dictionary) const;

  std::optional<std::uint64_t> offsetAt(std::size_t reference) const;
  std::uint64_t offsetOf(std::uint64_t index) const;

  std::optional<Object> object(std::uint64_t offset) const;
  std::optional<Object> countedObject(std::size_t offset) const;
  std::optional<Object> fixedObject(std::size_t offset, std::size_t size) const;

  std::string text(const Object& string) const;
  bool is(const Object& string, std::string_view key) const;

  const std::string_view bytes_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::uint64_t objectCount_ = 0;
  std::uint64_t topLevel_ = 0;
  std::size_t tableOffset_ = 0;

  std::vector<State> states_;  // by offset
  std::stack<OpenContainer> open_;
  std::size_t uncheckedBytes_ = 0;
};

bool BinaryReader::readTrailer() {
  if (bytes_.size() <= headerSize + trailerSize || !bytes_.starts_with(signature)) return false;
  const std::size_t trailerOffset = bytes_.size() - trailerSize;
  const std::string_view trailer = bytes_.substr(trailerOffset);
  offsetSize_ = static_cast<unsigned char>(trailer[6]);
  referenceSize_ = static_cast<unsigned char>(trailer[7]);
  objectCount_ = integer(trailer.substr(8, 8));
  const std::uint64_t topLevelIndex = integer(trailer.substr(16, 8));
  const std::uint64_t tableOffset = integer(trailer.substr(24, 8));

  if (offsetSize_ < 1 || referenceSize_ < 1 || topLevelIndex >= objectCount_) return false;
  if (tableOffset <= headerSize || tableOffset >= trailerOffset) return false;
  tableOffset_ = tableOffset;
  const std::size_t tableSize = trailerOffset - tableOffset_;
  if (tableSize % offsetSize_ != 0 || tableSize / offsetSize_ != objectCount_) return false;
  if (!canExceed(referenceSize_, objectCount_) || !canExceed(offsetSize_, tableOffset_)) {
    return false;
  }
  topLevel_ = offsetOf(topLevelIndex);
  return checkOffsets();
}

bool BinaryReader::checkOffsets() const {
  for (std::uint64_t index = 0; index < objectCount_; ++index) {
    if (offsetOf(index) >= tableOffset_) return false;
  }
  return true;
}

bool BinaryReader::checkObjects() {
  states_.assign(tableOffset_, State::unseen);
  uncheckedBytes_ = tableOffset_ - headerSize;
  if (!enter(topLevel_)) return false;
  while (!open_.empty()) {
    OpenContainer& container = open_.top();
    if (container.next == container.end) {
      states_[container.offset] = State::checked;
      open_.pop();
      continue;
    }
    const std::optional<std::uint64_t> offset = offsetAt(container.next);
    container.next += referenceSize_;
    if (!offset || !enter(*offset)) return false;
  }
  return true;
}

// Checks the object itself, unless that has been done; a container is left open.
bool BinaryReader::enter(std::uint64_t offset) {
  if (offset < headerSize || states_[offset] == State::open) return false;
  if (states_[offset] == State::checked) return true;
  const std::optional<Object> entered = object(offset);
  if (!entered || entered->end - offset > uncheckedBytes_) return false;
  uncheckedBytes_ -= entered->end - offset;
  states_[offset] = entered->isContainer() ? State::open : State::checked;
  if (entered->isContainer()) open_.push({offset, entered->content, entered->end});
  return entered->kind != Object::Kind::dictionary || haveNoContainers(*entered);
}

// Whether no key of the dictionary is a container, which Apple's reader refuses.
bool BinaryReader::haveNoContainers(const Object& dictionary) const {
  for (std::size_t entry = 0; entry < dictionary.count; ++entry) {
    const auto offset = offsetAt(dictionary.content + entry * referenceSize_);
    const auto key = offset && *offset >= headerSize ? object(*offset) : std::nullopt;
    if (!key || key->isContainer()) return false;
  }
  return true;
}

// Every object that it meets has passed checkObjects.
PropertyListString BinaryReader::find(std::string_view key) const {
  const std::optional<Object> topLevel = object(topLevel_);
  if (!topLevel || topLevel->kind != Object::Kind::dictionary) return {Outcome::notADictionary, {}};
  PropertyListString sought{Outcome::missing, {}};
  for (std::size_t entry = 0; entry < topLevel->count; ++entry) {
    const std::size_t reference = topLevel->content + entry * referenceSize_;
    const Object name = *object(*offsetAt(reference));
    if (!name.isString()) return {Outcome::notADictionary, {}};
    if (sought.outcome != Outcome::missing || !is(name, key)) continue;
    const Object value = *object(*offsetAt(reference + topLevel->count * referenceSize_));
    if (value.isString()) {
      sought = {Outcome::found, text(value)};
    } else {
      sought.outcome = Outcome::notAString;
    }
  }
  return sought;
}

std::optional<std::uint64_t> BinaryReader::offsetAt(std::size_t reference) const {
  const std::uint64_t index = integer(bytes_.substr(reference, referenceSize_));
  if (index >= objectCount_) return std::nullopt;
  return offsetOf(index);
}

std::uint64_t BinaryReader::offsetOf(std::uint64_t index) const {
  return integer(bytes_.substr(tableOffset_ + index * offsetSize_, offsetSize_));
}

// The object at `offset`; nothing when it is of no known kind or does not end before the table.
std::optional<Object> BinaryReader::object(std::uint64_t offset) const {
  const auto marker = static_cast<unsigned char>(bytes_[offset]);
  const std::size_t low = marker & 0x0F;
  switch (marker >> 4) {
    case 0x0:  // null, false, true
      return low == 0 || low == 8 || low == 9 ? fixedObject(offset, 0) : std::nullopt;
    case 0x1:  // integer
      return low <= 4 ? fixedObject(offset, std::size_t{1} << low) : std::nullopt;
    case 0x2:  // real
      return low == 2 || low == 3 ? fixedObject(offset, std::size_t{1} << low) : std::nullopt;
    case 0x3:  // date
      return low == 3 ? fixedObject(offset, 8) : std::nullopt;
    case 0x8: {  // unique identifier
      const std::optional<Object> found = fixedObject(offset, low + 1);
      const bool fits =
          found && integer(bytes_.substr(found->content, low + 1)) <= std::uint64_t{0xFFFFFFFF};
      return fits ? found : std::nullopt;
    }
    default:
      return countedObject(offset);
  }
}

std::optional<Object> BinaryReader::fixedObject(std::size_t offset, std::size_t size) const {
  if (size >= tableOffset_ - offset) return std::nullopt;
  return Object{Object::Kind::other, offset + 1, offset + 1 + size};
}

std::optional<Object> BinaryReader::countedObject(std::size_t offset) const {
  const auto marker = static_cast<unsigned char>(bytes_[offset]);
  Object::Kind kind = Object::Kind::other;
  std::size_t unit = 1;
  switch (marker >> 4) {
    case 0x4:  // data
      break;
    case 0x5:
      kind = Object::Kind::ascii;
      break;
    case 0x6:
      kind = Object::Kind::utf16;
      unit = 2;
      break;
    case 0xA:
    case 0xC:  // a set
      kind = Object::Kind::array;
      unit = referenceSize_;
      break;
    case 0xD:
      kind = Object::Kind::dictionary;
      unit = 2 * referenceSize_;
      break;
    default:
      return std::nullopt;
  }
  std::uint64_t count = marker & 0x0F;
  std::size_t content = offset + 1;
  if (count == 0x0F) {  // stands in an integer of its own
    if (content >= tableOffset_) return std::nullopt;
    const auto countMarker = static_cast<unsigned char>(bytes_[content]);
    const std::size_t size = std::size_t{1} << (countMarker & 0x0F);
    ++content;
    if (countMarker >> 4 != 0x1 || size > tableOffset_ - content) return std::nullopt;
    count = integer(bytes_.substr(content, size));
    content += size;
  }
  if (count > (tableOffset_ - content) / unit) return std::nullopt;
  return Object{kind, content, content + count * unit, count};
}

std::string BinaryReader::text(const Object& string) const {
  const std::string_view content = bytes_.substr(string.content, string.end - string.content);
  if (string.kind == Object::Kind::utf16) return utf8OfUTF16BigEndian(content);
  return utf8OfLatin1(content);
}

// Looks at no more than the key's length: many entries may share one long string.
bool BinaryReader::is(const Object& string, std::string_view key) const {
  return string.count <= key.size() && text(string) == key;
}

}  // namespace

std::optional<PropertyListString> binaryPropertyListString(std::string_view bytes,
                                                           std::string_view key) {
  BinaryReader reader(bytes);
  if (!reader.readTrailer() || !reader.checkObjects()) return std::nullopt;
  return reader.find(key);
}

}  // namespace velmora
