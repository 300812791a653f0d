// Character data: what stands between two tags of an XML property list.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/portable/property_list/decoded_text.h"
#include "platform/portable/property_list/reading_progress.h"

namespace velmora {

// Character data as it stands in the file.
struct CharacterData {
  std::string_view bytes;
  bool isPlain;  // it is ASCII and means itself
};

// Takes the characters, references and CDATA sections at the front of `cursor` up to the next tag;
// nothing when they are not of `encoding`, do not end, or have a reference other than to a
// character or one of the five predefined entities.
std::optional<CharacterData> takeCharacterData(CountingCursor& cursor, StringEncoding encoding,
                                               ReadingProgress& progress);

// Appends the text that character data so taken stands for; false when it does not.
bool decodeCharacterData(std::string_view bytes, ReadingProgress& progress, DecodedText& text);

// A byte-order mark at the beginning of a string is lost, as in Apple's.
void removeByteOrderMark(std::string& text);

}  // namespace velmora
