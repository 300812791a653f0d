// Property lists, as far as the helper needs them: one string out of a file that may hold
// anything. XML, binary and OpenStep property lists (the form of a strings file, without braces,
// included), as Apple's own reader takes them. Any thread may call.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace velmora {

struct PropertyListString {
  enum class Outcome {
    found,
    notAPropertyList,  // in none of the three formats
    notADictionary,    // the top level is something else, or has a key that is no string
    missing,           // there is no such key
    notAString,        // its value is something else
  };

  Outcome outcome;
  std::string value;  // UTF-8; with `found` only
};

// Called again and again while a property list is read, at least once for each mebibyte that is
// looked at, whatever is in it. What it raises ends the reading and is passed on. May be empty.
using ReadingCheckpoint = std::function<void()>;

// How often at most the size of a property list is in memory while it is read: its bytes, what is
// decoded of them, and the string found. What is needed besides does not grow with it.
constexpr std::size_t propertyListMemoryFactor = 3;

// Looks up the string under `key` (UTF-8) in the top-level dictionary of the property list
// `bytes`. The whole property list is checked, so that a file damaged behind the key is refused;
// what may follow it, as behind the closing tag of XML, is looked at no more than by Apple's
// reader. Where a key comes twice, the value that Apple's reader keeps is the one: the last in
// XML and OpenStep, the first in a binary. Empty `bytes` are no property list, nor is a byte-order
// mark alone; white space is an empty one. Left out on purpose, because only damaged or hostile
// files have them: faults within OpenStep containers that Apple's reader gets over, binaries whose
// objects overlap, and UTF-16 without a mark. A string that is longer than twice the file in UTF-8
// counts as none.
// Time is linear in the size of `bytes`, memory bounded by propertyListMemoryFactor, and the stack
// does not grow with it. Opens nothing, whatever an entity asks for. Raises std::bad_alloc and what
// `checkpoint` raises only.
PropertyListString propertyListString(std::string_view bytes, std::string_view key,
                                      const ReadingCheckpoint& checkpoint);

}  // namespace velmora
