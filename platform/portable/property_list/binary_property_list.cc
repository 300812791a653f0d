#include "platform/portable/property_list/binary_property_list.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "platform/portable/property_list/binary_objects.h"

namespace velmora {
namespace {

using Outcome = PropertyListString::Outcome;

// Follows every reference from the top level on. Offset is a type that holds one.
template <typename Offset>
class ObjectChecker {
 public:
  ObjectChecker(const BinaryObjects& objects, ReadingProgress& progress)
      : objects_(objects),
        progress_(progress),
        states_(2 * objects.end()),
        uncheckedBytes_(objects.end()) {
    // No more can be open at a time: each takes its bytes of the unchecked ones.
    open_.reserve(std::min(objects.count(), objects.end() / (1 + objects.referenceSize()) + 1));
  }

  // Whether all objects reached are sound, and none contains itself.
  bool check() {
    if (!enter(objects_.topLevel())) return false;
    while (!open_.empty()) {
      OpenContainer& container = open_.back();
      if (container.next == end_) {
        leave();
        continue;
      }
      const std::size_t offset = objects_.offsetAt(container.next);
      container.next += static_cast<Offset>(objects_.referenceSize());
      if (offset == objects_.end() || !enter(offset)) return false;
    }
    return true;
  }

 private:
  // A container of which the references up to `next` have been followed. Where it ends is found
  // again, since a hostile file can leave one open for every five of its bytes.
  struct OpenContainer {
    Offset offset;
    Offset next;
  };

  // Checks the object itself, unless that has been done; a container is left open.
  bool enter(std::size_t offset) {
    if (states_[2 * offset]) return !states_[2 * offset + 1];
    const BinaryObject object = objects_.object(offset);
    // Else objects that overlap could take a time that grows with the square of the file.
    if (!object.isSound() || object.end - offset > uncheckedBytes_) return false;
    uncheckedBytes_ -= object.end - offset;
    states_[2 * offset] = true;
    if (!object.isContainer()) return true;
    states_[2 * offset + 1] = true;
    open_.push_back({static_cast<Offset>(offset), static_cast<Offset>(object.content)});
    end_ = object.end;
    return object.kind != BinaryObject::Kind::dictionary || hasPlainKeys(object);
  }

  void leave() {
    states_[2 * std::size_t{open_.back().offset} + 1] = false;
    open_.pop_back();
    progress_.count(sizeof(OpenContainer));
    if (!open_.empty()) end_ = objects_.object(open_.back().offset).end;
  }

  // Whether no key is a container, which Apple's reader refuses.
  bool hasPlainKeys(const BinaryObject& dictionary) const {
    for (std::size_t entry = 0; entry < dictionary.count; ++entry) {
      const BinaryObject key =
          objects_.object(objects_.offsetAt(dictionary.content + entry * objects_.referenceSize()));
      if (!key.isSound() || key.isContainer()) return false;
    }
    return true;
  }

  const BinaryObjects& objects_;
  ReadingProgress& progress_;
  std::vector<bool> states_;  // for each offset, whether its object has been seen, and is open
  std::vector<OpenContainer> open_;
  std::size_t end_ = 0;  // of the container that was opened last
  std::size_t uncheckedBytes_;
};

// All references of the top level have been checked.
PropertyListString find(std::string_view key, const BinaryObjects& objects) {
  const BinaryObject topLevel = objects.object(objects.topLevel());
  if (topLevel.kind != BinaryObject::Kind::dictionary) return {Outcome::notADictionary, {}};
  PropertyListString sought{Outcome::missing, {}};
  const auto referenced = [&](std::size_t index) {
    return objects.object(objects.offsetAt(topLevel.content + index * objects.referenceSize()));
  };
  for (std::size_t entry = 0; entry < topLevel.count; ++entry) {
    const BinaryObject name = referenced(entry);
    if (!name.isString()) return {Outcome::notADictionary, {}};
    if (sought.outcome != Outcome::missing || !objects.is(name, key)) continue;
    const BinaryObject value = referenced(topLevel.count + entry);
    if (value.isString()) {
      sought = {Outcome::found, objects.text(value)};
    } else {
      sought.outcome = Outcome::notAString;
    }
  }
  return sought;
}

bool areSound(const BinaryObjects& objects, ReadingProgress& progress) {
  constexpr std::size_t maximum = std::numeric_limits<std::uint32_t>::max();
  return objects.end() <= maximum ? ObjectChecker<std::uint32_t>(objects, progress).check()
                                  : ObjectChecker<std::uint64_t>(objects, progress).check();
}

}  // namespace

std::optional<PropertyListString> binaryPropertyListString(std::string_view bytes,
                                                           std::string_view key,
                                                           ReadingProgress& progress) {
  BinaryObjects objects(bytes, progress);
  if (!objects.readTrailer() || !areSound(objects, progress)) return std::nullopt;
  return find(key, objects);
}

}  // namespace velmora
