// The strings of OpenStep property lists.
#pragma once

#include <string_view>

#include "platform/portable/property_list/decoded_text.h"
#include "platform/portable/property_list/reading_progress.h"

namespace velmora {

// A string as it stands in the file, without its quotes.
struct OpenStepString {
  enum class Kind { none, plain, encoded };

  std::string_view bytes;
  Kind kind = Kind::none;  // a plain one is ASCII and means itself
};

// Whether a string, quoted or not, stands at the front of `cursor`.
bool isOpenStepString(const Cursor& cursor);

// Takes the string at the front of `cursor`; `none` when there is none or it does not end.
OpenStepString takeOpenStepString(CountingCursor& cursor);

// Appends what such bytes mean. A surrogate that an escape makes without its partner
// becomes U+FFFD.
bool decodeOpenStepString(std::string_view bytes, DecodedText& into);

}  // namespace velmora
