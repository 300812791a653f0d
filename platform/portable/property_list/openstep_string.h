// The strings of OpenStep property lists.
#pragma once

#include <optional>
#include <string_view>

#include "platform/portable/property_list/decoded_text.h"
#include "platform/portable/property_list/reading_progress.h"

namespace velmora {

// A string as it stands in the file, without its quotes.
struct OpenStepString {
  std::string_view bytes;
  bool isPlain;  // it is ASCII and means itself
};

// Whether a string, quoted or not, stands at the front of `cursor`.
bool isOpenStepString(const Cursor& cursor);

// Takes the string at the front of `cursor`; nothing when there is none or it does not end.
std::optional<OpenStepString> takeOpenStepString(CountingCursor& cursor);

// Appends what the string means to `text`. A surrogate that an escape makes without its partner
// becomes U+FFFD.
void decodeOpenStepString(std::string_view bytes, ReadingProgress& progress, DecodedText& text);

}  // namespace velmora
