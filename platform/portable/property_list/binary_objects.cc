#include "platform/portable/property_list/binary_objects.h"

#include "platform/portable/property_list/decoded_text.h"
#include "platform/portable/text/ascii.h"

namespace velmora {
namespace {

constexpr std::string_view signature = "bplist0";
constexpr std::size_t headerSize = 8;
constexpr std::size_t trailerSize = 32;

// Whether integers of `size` bytes go past `value`.
bool canExceed(std::size_t size, std::uint64_t value) {
  return size >= 8 || std::uint64_t{1} << (8 * size) > value;
}

}  // namespace

bool BinaryObjects::readTrailer() {
  if (bytes_.size() <= headerSize + trailerSize || !bytes_.starts_with(signature)) return false;
  const std::size_t trailerOffset = bytes_.size() - trailerSize;
  offsetSize_ = static_cast<unsigned char>(bytes_[trailerOffset + 6]);
  referenceSize_ = static_cast<unsigned char>(bytes_[trailerOffset + 7]);
  objectCount_ = integerAt(trailerOffset + 8, 8);
  const std::uint64_t topLevelNumber = integerAt(trailerOffset + 16, 8);
  const std::uint64_t tableOffset = integerAt(trailerOffset + 24, 8);

  // A zero here would be divided by below.
  if (offsetSize_ < 1 || referenceSize_ < 1 || topLevelNumber >= objectCount_) return false;
  if (tableOffset <= headerSize || tableOffset >= trailerOffset) return false;
  tableOffset_ = tableOffset;
  const std::size_t tableSize = trailerOffset - tableOffset_;
  // Neither a gap nor a tail: the table fills all that is between the objects and the trailer.
  if (tableSize % offsetSize_ != 0 || tableSize / offsetSize_ != objectCount_) return false;
  // Apple's reader wants sizes that could name every object and every offset.
  if (!canExceed(referenceSize_, objectCount_) || !canExceed(offsetSize_, tableOffset_)) {
    return false;
  }
  topLevel_ = topLevelNumber;
  return checkOffsets();
}

bool BinaryObjects::checkOffsets() {
  std::size_t last = 0;
  for (std::size_t number = 0; number < objectCount_; ++number) {
    // A table of a whole file's size is as much work as reading the file.
    progress_.count(sizeof(std::uint64_t));
    const std::size_t offset = offsetOf(number);
    if (offset >= tableOffset_) return false;
    areInOrder_ = areInOrder_ && offset > last;
    last = offset;
  }
  return true;
}

BinaryObject BinaryObjects::object(std::size_t offset) const {
  using Kind = BinaryObject::Kind;
  // Every offset comes from the file.
  if (offset < headerSize || offset >= tableOffset_) return {};
  const auto marker = static_cast<unsigned char>(bytes_[offset]);
  const std::size_t low = marker & 0x0F;
  switch (marker >> 4) {
    case 0x0:  // null, false, true
      return low == 0 || low == 8 || low == 9 ? fixedObject(offset, 0) : BinaryObject();
    case 0x1:  // integer
      return low <= 4 ? fixedObject(offset, std::size_t{1} << low) : BinaryObject();
    case 0x2:  // real
      return low == 2 || low == 3 ? fixedObject(offset, std::size_t{1} << low) : BinaryObject();
    case 0x3:  // date
      return low == 3 ? fixedObject(offset, 8) : BinaryObject();
    case 0x4:  // data
      return countedObject(offset, Kind::other, 1);
    case 0x5:
      return countedObject(offset, Kind::ascii, 1);
    case 0x6:
      return utf16String(offset);
    case 0x8:
      return uniqueIdentifier(offset);
    case 0xA:
    case 0xC:  // a set
      return countedObject(offset, Kind::array, referenceSize_);
    case 0xD:
      return countedObject(offset, Kind::dictionary, 2 * referenceSize_);
    default:
      return {};
  }
}

BinaryObject BinaryObjects::fixedObject(std::size_t offset, std::size_t size) const {
  // Not by a sum, which a size from the file could take past the largest number.
  if (size >= tableOffset_ - offset) return {};
  return BinaryObject{BinaryObject::Kind::other, offset + 1, offset + 1 + size};
}

// An empty one makes the whole unreadable to Apple's reader, which takes the lack of characters
// for a lack of memory.
BinaryObject BinaryObjects::utf16String(std::size_t offset) const {
  const BinaryObject string = countedObject(offset, BinaryObject::Kind::utf16, 2);
  return string.count > 0 ? string : BinaryObject();
}

// An integer of 32 bits, of whatever size.
BinaryObject BinaryObjects::uniqueIdentifier(std::size_t offset) const {
  const std::size_t size = (static_cast<unsigned char>(bytes_[offset]) & 0x0FU) + 1;
  const BinaryObject found = fixedObject(offset, size);
  const bool fits = found.isSound() && integerAt(found.content, size) <= 0xFFFFFFFF;
  return fits ? found : BinaryObject();
}

BinaryObject BinaryObjects::countedObject(std::size_t offset, BinaryObject::Kind kind,
                                          std::size_t unitSize) const {
  std::size_t content = offset + 1;
  std::size_t count = static_cast<unsigned char>(bytes_[offset]) & 0x0FU;
  if (count == 0x0F) {  // stands in an integer of its own
    // The marker may have been the last byte before the table.
    if (content == tableOffset_) return {};
    const auto marker = static_cast<unsigned char>(bytes_[content++]);
    const std::size_t size = std::size_t{1} << (marker & 0x0F);
    if (marker >> 4 != 0x1 || size > tableOffset_ - content) return {};
    count = integerAt(content, size);
    content += size;
  }
  // By a division, for the same reason as above.
  if (count > (tableOffset_ - content) / unitSize) return {};
  return BinaryObject{kind, content, content + count * unitSize, count};
}

std::string BinaryObjects::text(const BinaryObject& string) const {
  const auto decode = [&](DecodedText& text) {
    if (string.kind == BinaryObject::Kind::utf16) {
      appendUTF16(bytesOf(string), true, text);
    } else {
      text.append(bytesOf(string));
    }
    return true;
  };
  return *decodedExactly(progress_, StringEncoding::latin1, 2 * bytes_.size(), decode);
}

bool BinaryObjects::is(const BinaryObject& string, std::string_view key) const {
  // Any key of a hostile file may be as long as the file; decoding each would take the square of
  // that.
  if (string.count > key.size()) return false;
  const std::string_view bytes = bytesOf(string);
  const bool isPlain =
      string.kind == BinaryObject::Kind::ascii && asciiLength(bytes) == bytes.size();
  return isPlain ? bytes == key : text(string) == key;
}

}  // namespace velmora
