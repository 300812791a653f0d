// The objects of a binary property list, each taken for itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/portable/property_list/reading_progress.h"

namespace velmora {

struct BinaryObject {
  enum class Kind { ascii, utf16, array, dictionary, other };

  bool isString() const { return kind == Kind::ascii || kind == Kind::utf16; }
  bool isContainer() const { return kind == Kind::array || kind == Kind::dictionary; }

  Kind kind;            // an array may be a set
  std::size_t content;  // where it begins; a container's are references, keys before values
  std::size_t end;
  std::size_t count = 0;  // of characters, elements or entries
};

// The file is a row of objects, then the table of their offsets, by number, then a trailer.
class BinaryObjects {
 public:
  BinaryObjects(std::string_view bytes, ReadingProgress& progress)
      : bytes_(bytes), progress_(progress) {}

  // Whether header, trailer and table are sound; before all else.
  bool readTrailer();

  std::size_t topLevel() const { return topLevel_; }
  std::size_t end() const { return tableOffset_; }
  std::size_t referenceSize() const { return referenceSize_; }

  // The offset, less than end(), of the object that the reference at `reference` means; nothing
  // when there is none.
  std::optional<std::size_t> offsetAt(std::size_t reference) const;

  // The object at `offset`; nothing when it lies in the header, is of no known kind, or does not
  // end before the table. Takes the same time for every object.
  std::optional<BinaryObject> object(std::size_t offset) const;

  // Bytes past ASCII are Latin 1; a surrogate without its partner becomes U+FFFD.
  std::string text(const BinaryObject& string) const;

  // Whether it is this string. Looks at no more than the key's length: many entries may share one
  // long string.
  bool is(const BinaryObject& string, std::string_view key) const;

 private:
  bool checkOffsets() const;
  std::size_t offsetOf(std::size_t number) const;
  std::optional<BinaryObject> fixedObject(std::size_t offset, std::size_t size) const;
  std::optional<BinaryObject> utf16String(std::size_t offset) const;
  std::optional<BinaryObject> uniqueIdentifier(std::size_t offset) const;
  std::optional<BinaryObject> countedObject(std::size_t offset, BinaryObject::Kind kind,
                                            std::size_t unitSize) const;

  const std::string_view bytes_;
  ReadingProgress& progress_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::size_t objectCount_ = 0;
  std::size_t topLevel_ = 0;
  std::size_t tableOffset_ = 0;
};

}  // namespace velmora
