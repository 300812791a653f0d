// The objects of a binary property list, each taken for itself.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/portable/property_list/reading_progress.h"

namespace velmora {

struct BinaryObject {
  enum class Kind { unsound, ascii, utf16, array, dictionary, other };

  bool isSound() const { return kind != Kind::unsound; }
  bool isString() const { return kind == Kind::ascii || kind == Kind::utf16; }
  bool isContainer() const { return kind == Kind::array || kind == Kind::dictionary; }

  Kind kind = Kind::unsound;  // an array may be a set
  std::size_t content = 0;    // where it begins; a container's are references, keys before values
  std::size_t end = 0;
  std::size_t count = 0;  // of characters, elements or entries
};

// The file is a row of objects, then the table of their offsets, by number, then a trailer.
class BinaryObjects {
 public:
  BinaryObjects(std::string_view bytes, ReadingProgress& progress)
      : bytes_(bytes), progress_(progress) {}

  // Whether header, trailer and table are sound; before all else.
  bool readTrailer();

  std::size_t count() const { return objectCount_; }
  std::size_t topLevel() const { return topLevel_; }
  std::size_t end() const { return tableOffset_; }
  std::size_t referenceSize() const { return referenceSize_; }

  // The offset of the object that the reference at `reference` means; end() when there is none.
  std::size_t offsetAt(std::size_t reference) const {
    progress_.count(2 * sizeof(std::uint64_t));
    const std::uint64_t number = integerAt(reference, referenceSize_);
    return number < objectCount_ ? offsetOf(number) : end();
  }

  // The object at `offset`; unsound when it lies in the header or at the end, is of no known kind,
  // or does not end before the table. Takes the same time for every object.
  BinaryObject object(std::size_t offset) const;

  // Bytes past ASCII are Latin 1; a surrogate without its partner becomes U+FFFD.
  std::string text(const BinaryObject& string) const;

  // Whether it is this string. Looks at no more than the key's length: many entries may share one
  // long string.
  bool is(const BinaryObject& string, std::string_view key) const;

 private:
  bool checkOffsets() const;
  BinaryObject fixedObject(std::size_t offset, std::size_t size) const;
  BinaryObject utf16String(std::size_t offset) const;
  BinaryObject uniqueIdentifier(std::size_t offset) const;
  BinaryObject countedObject(std::size_t offset, BinaryObject::Kind kind,
                             std::size_t unitSize) const;

  std::string_view bytesOf(const BinaryObject& object) const {
    return bytes_.substr(object.content, object.end - object.content);
  }

  std::size_t offsetOf(std::size_t number) const {
    return integerAt(tableOffset_ + number * offsetSize_, offsetSize_);
  }

  // Most significant byte first. All but the last eight bytes are passed over.
  std::uint64_t integerAt(std::size_t at, std::size_t size) const {
    const auto byte = [this](std::size_t index) -> std::uint64_t {
      return static_cast<unsigned char>(bytes_[index]);
    };
    if (size == 1) return byte(at);
    if (size == 2) return byte(at) << 8 | byte(at + 1);
    std::uint64_t value = 0;
    for (std::size_t index = size - std::min<std::size_t>(size, 8); index < size; ++index) {
      value = value << 8 | byte(at + index);
    }
    return value;
  }

  const std::string_view bytes_;
  ReadingProgress& progress_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::size_t objectCount_ = 0;
  std::size_t topLevel_ = 0;
  std::size_t tableOffset_ = 0;
};

}  // namespace velmora
