// Builds binary property lists, sound and broken, object by object.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

class BinaryPropertyList {
 public:
  explicit BinaryPropertyList(std::size_t referenceSize = 1) : referenceSize_(referenceSize) {}

  // Adds an object of these bytes, to which references may be added; returns its number.
  std::size_t add(std::string_view object, std::initializer_list<std::size_t> references = {}) {
    offsets_.push_back(objects_.size());
    objects_ += object;
    for (const std::size_t reference : references) append(reference, referenceSize_, objects_);
    return offsets_.size() - 1;
  }

  std::size_t addString(std::string_view text) {  // of less than 15 bytes
    return add(static_cast<char>(0x50 | text.size()) + std::string(text));
  }

  // The whole file with `topLevel` as its top level.
  std::string file(std::size_t topLevel) const {
    std::string bytes = objects_;
    for (const std::size_t offset : offsets_) append(offset, 4, bytes);
    bytes += std::string(6, '\0') + '\4' + static_cast<char>(referenceSize_);
    for (const std::size_t value : {offsets_.size(), topLevel, objects_.size()}) {
      append(value, 8, bytes);
    }
    return bytes;
  }

 private:
  static void append(std::size_t value, std::size_t size, std::string& bytes) {
    while (size-- > 0) bytes += static_cast<char>(size < 8 ? value >> (8 * size) : 0);
  }

  std::string objects_ = "bplist00";
  std::vector<std::size_t> offsets_;
  std::size_t referenceSize_;
};

}  // namespace velmora
