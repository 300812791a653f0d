#include "platform/portable/property_list/binary_property_list.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <stack>
#include <vector>

#include "platform/portable/property_list/binary_objects.h"

namespace velmora {
namespace {

using Outcome = PropertyListString::Outcome;

// Follows every reference from the top level on. Offset is a type that holds one.
template <typename Offset>
class ObjectChecker {
 public:
  explicit ObjectChecker(const BinaryObjects& objects)
      : objects_(objects),
        isSeen_(objects.end()),
        isOpen_(objects.end()),
        uncheckedBytes_(objects.end()) {}

  // Whether all objects reached are sound, and none contains itself.
  bool check() {
    if (!enter(objects_.topLevel())) return false;
    while (!open_.empty()) {
      OpenContainer& container = open_.top();
      if (container.next == end_) {
        leave();
        continue;
      }
      const std::optional<std::size_t> offset = objects_.offsetAt(container.next);
      container.next += static_cast<Offset>(objects_.referenceSize());
      if (!offset || !enter(*offset)) return false;
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
    if (isSeen_[offset]) return !isOpen_[offset];
    const std::optional<BinaryObject> object = objects_.object(offset);
    // Else objects that overlap could take a time that grows with the square of the file.
    if (!object || object->end - offset > uncheckedBytes_) return false;
    uncheckedBytes_ -= object->end - offset;
    isSeen_[offset] = true;
    if (!object->isContainer()) return true;
    isOpen_[offset] = true;
    open_.push({static_cast<Offset>(offset), static_cast<Offset>(object->content)});
    end_ = object->end;
    return object->kind != BinaryObject::Kind::dictionary || hasPlainKeys(*object);
  }

  void leave() {
    isOpen_[open_.top().offset] = false;
    open_.pop();
    if (!open_.empty()) end_ = objects_.object(open_.top().offset)->end;
  }

  // Whether no key is a container, which Apple's reader refuses.
  bool hasPlainKeys(const BinaryObject& dictionary) const {
    for (std::size_t entry = 0; entry < dictionary.count; ++entry) {
      const std::optional<std::size_t> offset =
          objects_.offsetAt(dictionary.content + entry * objects_.referenceSize());
      const std::optional<BinaryObject> key = offset ? objects_.object(*offset) : std::nullopt;
      if (!key || key->isContainer()) return false;
    }
    return true;
  }

  const BinaryObjects& objects_;
  std::vector<bool> isSeen_;  // by offset, as isOpen_
  std::vector<bool> isOpen_;
  std::stack<OpenContainer> open_;
  std::size_t end_ = 0;  // of the container that was opened last
  std::size_t uncheckedBytes_;
};

// All references of the top level have been checked.
PropertyListString find(std::string_view key, const BinaryObjects& objects) {
  const BinaryObject topLevel = *objects.object(objects.topLevel());
  if (topLevel.kind != BinaryObject::Kind::dictionary) return {Outcome::notADictionary, {}};
  PropertyListString sought{Outcome::missing, {}};
  const auto referenced = [&](std::size_t index) {
    return *objects.object(*objects.offsetAt(topLevel.content + index * objects.referenceSize()));
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

bool areSound(const BinaryObjects& objects) {
  constexpr std::size_t maximum = std::numeric_limits<std::uint32_t>::max();
  return objects.end() <= maximum ? ObjectChecker<std::uint32_t>(objects).check()
                                  : ObjectChecker<std::uint64_t>(objects).check();
}

}  // namespace

std::optional<PropertyListString> binaryPropertyListString(std::string_view bytes,
                                                           std::string_view key,
                                                           ReadingProgress& progress) {
  BinaryObjects objects(bytes, progress);
  if (!objects.readTrailer() || !areSound(objects)) return std::nullopt;
  return find(key, objects);
}

}  // namespace velmora
