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

// Follows every reference from the top level on. Number is a type that holds one of an object, or
// of a byte.
template <typename Number>
class ObjectChecker {
 public:
  ObjectChecker(const BinaryObjects& objects, ReadingProgress& progress)
      : objects_(objects),
        progress_(progress),
        states_(2 * (objects.areInOrder() ? objects.count() : objects.end())),
        uncheckedBytes_(objects.end()) {
    // No more can be open at a time: each takes its bytes of the unchecked ones.
    open_.reserve(std::min(objects.count(), objects.end() / (1 + objects.referenceSize()) + 1));
  }

  // Whether all objects reached are sound, and none contains itself.
  bool check() {
    if (!enter(objects_.topLevel(), false)) return false;
    while (!open_.empty()) {
      OpenContainer& container = open_.back();
      if (container.next == end_) {
        leave();
        continue;
      }
      const bool isKey = container.next < endOfKeys_;
      const std::size_t number = objects_.numberAt(container.next);
      container.next += static_cast<Number>(objects_.referenceSize());
      if (number == objects_.count() || !enter(number, isKey)) return false;
    }
    return true;
  }

 private:
  // A container of which the references up to `next` have been followed. Where it ends is found
  // again, since a hostile file can leave one open for every five of its bytes.
  struct OpenContainer {
    Number number;
    Number next;
  };

  // Checks the object itself, unless that has been done; a container is left open. Apple's reader
  // refuses one as a key.
  bool enter(std::size_t number, bool isKey) {
    const std::size_t state = stateOf(number);
    const bool isSeen = states_[state];
    if (isSeen && !isKey) return !states_[state + 1];
    const std::size_t offset = objects_.offsetOf(number);
    const BinaryObject object = objects_.object(offset);
    if (isKey && object.isContainer()) return false;
    if (isSeen) return true;
    // Else objects that overlap could take a time that grows with the square of the file.
    if (!object.isSound() || object.end - offset > uncheckedBytes_) return false;
    uncheckedBytes_ -= object.end - offset;
    states_[state] = true;
    if (!object.isContainer()) return true;
    states_[state + 1] = true;
    open_.push_back({static_cast<Number>(number), static_cast<Number>(object.content)});
    lookAt(object);
    return true;
  }

  void leave() {
    states_[stateOf(open_.back().number) + 1] = false;
    open_.pop_back();
    progress_.count(sizeof(OpenContainer));
    if (!open_.empty()) lookAt(objects_.object(objects_.offsetOf(open_.back().number)));
  }

  // An object that several numbers mean is one object. Where each has its own, their states stand
  // closer together by number.
  std::size_t stateOf(std::size_t number) const {
    return 2 * (objects_.areInOrder() ? number : objects_.offsetOf(number));
  }

  void lookAt(const BinaryObject& container) {
    end_ = container.end;
    endOfKeys_ = container.content;
    if (container.kind == BinaryObject::Kind::dictionary) {
      endOfKeys_ += container.count * objects_.referenceSize();
    }
  }

  const BinaryObjects& objects_;
  ReadingProgress& progress_;
  std::vector<bool> states_;  // for each object, whether it has been seen, and is open
  std::vector<OpenContainer> open_;
  std::size_t endOfKeys_ = 0;  // of the container that was opened last
  std::size_t end_ = 0;
  std::size_t uncheckedBytes_;
};

// All references of the top level have been checked.
PropertyListString find(std::string_view key, const BinaryObjects& objects) {
  const BinaryObject topLevel = objects.object(objects.offsetOf(objects.topLevel()));
  if (topLevel.kind != BinaryObject::Kind::dictionary) return {Outcome::notADictionary, {}};
  PropertyListString sought{Outcome::missing, {}};
  const auto referenced = [&](std::size_t index) {
    const std::size_t reference = topLevel.content + index * objects.referenceSize();
    return objects.object(objects.offsetOf(objects.numberAt(reference)));
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
  return std::max(objects.end(), objects.count()) <= maximum
             ? ObjectChecker<std::uint32_t>(objects, progress).check()
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
