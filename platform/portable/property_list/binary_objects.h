// The objects of a binary property list, each taken for itself.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
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
  std::size_t topLevel() const { return topLevel_; }  // its number
  // Whether each object begins behind the one of the number before.
  bool areInOrder() const { return areInOrder_; }
  std::size_t end() const { return tableOffset_; }
  std::size_t referenceSize() const { return referenceSize_; }

  // The number of the object that the reference at `reference` means; count() when there is none.
  std::size_t numberAt(std::size_t reference) const {
    progress_.count(2 * sizeof(std::uint64_t));
    const std::uint64_t number = integerAt(reference, referenceSize_);
    return std::min<std::uint64_t>(number, objectCount_);
  }

  std::size_t offsetOf(std::size_t number) const {
    return integerAt(tableOffset_ + number * offsetSize_, offsetSize_);
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
  bool checkOffsets();
  BinaryObject fixedObject(std::size_t offset, std::size_t size) const;
  BinaryObject utf16String(std::size_t offset) const;
  BinaryObject uniqueIdentifier(std::size_t offset) const;
  BinaryObject countedObject(std::size_t offset, BinaryObject::Kind kind,
                             std::size_t unitSize) const;

  std::string_view bytesOf(const BinaryObject& object) const {
    return bytes_.substr(object.content, object.end - object.content);
  }

  // Most significant byte first. All but the last eight bytes are passed over; the header stands
  // before all integers, so eight that end with this one can be read in one go.
  std::uint64_t integerAt(std::size_t at, std::size_t size) const {
    std::uint64_t value = 0;
    std::memcpy(&value, bytes_.data() + at + size - sizeof value, sizeof value);
    if constexpr (std::endian::native == std::endian::little) value = __builtin_bswap64(value);
    return size >= sizeof value ? value : value & ((std::uint64_t{1} << (8 * size)) - 1);
  }

  const std::string_view bytes_;
  ReadingProgress& progress_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::size_t objectCount_ = 0;
  std::size_t topLevel_ = 0;
  bool areInOrder_ = true;
  std::size_t tableOffset_ = 0;
};

}  // namespace velmora
