#include "platform/portable/property_list/binary_objects.h"

#include <algorithm>

#include "platform/portable/property_list/decoded_text.h"

namespace velmora {
namespace {

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

}  // namespace

bool BinaryObjects::readTrailer() {
  if (bytes_.size() <= headerSize + trailerSize || !bytes_.starts_with(signature)) return false;
  const std::size_t trailerOffset = bytes_.size() - trailerSize;
  const std::string_view trailer = bytes_.substr(trailerOffset);
  offsetSize_ = static_cast<unsigned char>(trailer[6]);
  referenceSize_ = static_cast<unsigned char>(trailer[7]);
  objectCount_ = integer(trailer.substr(8, 8));
  const std::uint64_t topLevelNumber = integer(trailer.substr(16, 8));
  const std::uint64_t tableOffset = integer(trailer.substr(24, 8));

  if (offsetSize_ < 1 || referenceSize_ < 1 || topLevelNumber >= objectCount_) return false;
  if (tableOffset <= headerSize || tableOffset >= trailerOffset) return false;
  tableOffset_ = tableOffset;
  const std::size_t tableSize = trailerOffset - tableOffset_;
  if (tableSize % offsetSize_ != 0 || tableSize / offsetSize_ != objectCount_) return false;
  if (!canExceed(referenceSize_, objectCount_) || !canExceed(offsetSize_, tableOffset_)) {
    return false;
  }
  topLevel_ = offsetOf(topLevelNumber);
  return checkOffsets();
}

bool BinaryObjects::checkOffsets() const {
  for (std::size_t number = 0; number < objectCount_; ++number) {
    progress_.count(sizeof(std::uint64_t));
    if (offsetOf(number) >= tableOffset_) return false;
  }
  return true;
}

std::size_t BinaryObjects::offsetOf(std::size_t number) const {
  return integer(bytes_.substr(tableOffset_ + number * offsetSize_, offsetSize_));
}

std::optional<std::size_t> BinaryObjects::offsetAt(std::size_t reference) const {
  progress_.count(2 * sizeof(std::uint64_t));
  const std::size_t number = integer(bytes_.substr(reference, referenceSize_));
  if (number >= objectCount_) return std::nullopt;
  return offsetOf(number);
}

std::optional<BinaryObject> BinaryObjects::object(std::size_t offset) const {
  using Kind = BinaryObject::Kind;
  if (offset < headerSize) return std::nullopt;
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
      return std::nullopt;
  }
}

std::optional<BinaryObject> BinaryObjects::fixedObject(std::size_t offset, std::size_t size) const {
  if (size >= tableOffset_ - offset) return std::nullopt;
  return BinaryObject{BinaryObject::Kind::other, offset + 1, offset + 1 + size};
}

// An empty one makes the whole unreadable to Apple's reader, which takes the lack of characters
// for a lack of memory.
std::optional<BinaryObject> BinaryObjects::utf16String(std::size_t offset) const {
  const std::optional<BinaryObject> string = countedObject(offset, BinaryObject::Kind::utf16, 2);
  return string && string->count > 0 ? string : std::nullopt;
}

// An integer of 32 bits, of whatever size.
std::optional<BinaryObject> BinaryObjects::uniqueIdentifier(std::size_t offset) const {
  const std::size_t size = (static_cast<unsigned char>(bytes_[offset]) & 0x0FU) + 1;
  const std::optional<BinaryObject> found = fixedObject(offset, size);
  const bool fits = found && integer(bytes_.substr(found->content, size)) <= 0xFFFFFFFF;
  return fits ? found : std::nullopt;
}

std::optional<BinaryObject> BinaryObjects::countedObject(std::size_t offset,
                                                         BinaryObject::Kind kind,
                                                         std::size_t unitSize) const {
  std::size_t content = offset + 1;
  std::size_t count = static_cast<unsigned char>(bytes_[offset]) & 0x0FU;
  if (count == 0x0F) {  // stands in an integer of its own
    if (content == tableOffset_) return std::nullopt;
    const auto marker = static_cast<unsigned char>(bytes_[content++]);
    const std::size_t size = std::size_t{1} << (marker & 0x0F);
    if (marker >> 4 != 0x1 || size > tableOffset_ - content) return std::nullopt;
    count = integer(bytes_.substr(content, size));
    content += size;
  }
  if (count > (tableOffset_ - content) / unitSize) return std::nullopt;
  return BinaryObject{kind, content, content + count * unitSize, count};
}

std::string BinaryObjects::text(const BinaryObject& string) const {
  const std::string_view content = bytes_.substr(string.content, string.end - string.content);
  return *decodedExactly(progress_, StringEncoding::latin1, 2 * bytes_.size(),
                         [&](DecodedText& text) {
                           if (string.kind == BinaryObject::Kind::utf16) {
                             appendUTF16(content, true, text);
                           } else {
                             text.append(content);
                           }
                           return true;
                         });
}

bool BinaryObjects::is(const BinaryObject& string, std::string_view key) const {
  return string.count <= key.size() && text(string) == key;
}

}  // namespace velmora
