#include "platform/portable/property_list/binary_property_list.h"

#include <cstddef>
#include <cstdint>
#include <stack>
#include <vector>

#include "platform/portable/property_list/binary_objects.h"

namespace velmora {
namespace {

using Outcome = PropertyListString::Outcome;

// Follows every reference from the top level on.
class ObjectChecker {
 public:
  explicit ObjectChecker(const BinaryObjects& objects)
      : objects_(objects), states_(objects.end()), uncheckedBytes_(objects.end()) {}

  // Whether all objects reached are sound, and none contains itself.
  bool check() {
    if (!enter(objects_.topLevel())) return false;
    while (!open_.empty()) {
      OpenContainer& container = open_.top();
      if (container.next == container.end) {
        states_[container.offset] = State::checked;
        open_.pop();
        continue;
      }
      const std::optional<std::size_t> offset = objects_.offsetAt(container.next);
      container.next += objects_.referenceSize();
      if (!offset || !enter(*offset)) return false;
    }
    return true;
  }

 private:
  // A container of which the references up to `next` have been followed.
  struct OpenContainer {
    std::size_t offset;
    std::size_t next;
    std::size_t end;
  };
  enum class State : std::uint8_t { unseen, open, checked };

  // Checks the object itself, unless that has been done; a container is left open.
  bool enter(std::size_t offset) {
    if (states_[offset] != State::unseen) return states_[offset] == State::checked;
    const std::optional<BinaryObject> object = objects_.object(offset);
    if (!object || object->end - offset > uncheckedBytes_) return false;
    uncheckedBytes_ -= object->end - offset;
    states_[offset] = object->isContainer() ? State::open : State::checked;
    if (object->isContainer()) open_.push({offset, object->content, object->end});
    return object->kind != BinaryObject::Kind::dictionary || hasPlainKeys(*object);
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
  std::vector<State> states_;  // by offset
  std::stack<OpenContainer> open_;
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

}  // namespace

std::optional<PropertyListString> binaryPropertyListString(std::string_view bytes,
                                                           std::string_view key) {
  BinaryObjects objects(bytes);
  if (!objects.readTrailer() || !ObjectChecker(objects).check()) return std::nullopt;
  return find(key, objects);
}

}  // namespace velmora
