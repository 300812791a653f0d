// Character data: what stands between two tags of an XML property list.
#pragma once

#include <optional>
#include <string_view>

#include "platform/portable/property_list/decoded_text.h"
#include "platform/portable/property_list/reading_progress.h"
#include "platform/portable/text/ascii.h"

namespace velmora {

// Character data as it stands in the file.
struct CharacterData {
  std::string_view bytes;
  bool isPlain;  // it is ASCII and means itself
};

// Takes character data other than a plain run of characters, as takeCharacterData does.
std::optional<CharacterData> takeReferences(CountingCursor& cursor, StringEncoding encoding);

// Takes the characters, references and CDATA sections at the front of `cursor` up to the next tag;
// nothing when they are not of `encoding`, do not end, or have a reference other than to a
// character or one of the five predefined entities.
inline std::optional<CharacterData> takeCharacterData(CountingCursor& cursor,
                                                      StringEncoding encoding) {
  CountingCursor end = cursor;
  // Nearly every string is of this kind, and needs no second look.
  const std::string_view plain =
      end.takeLength([](std::string_view piece) { return asciiLength(piece, '<', '&'); });
  if (!end.startsWith("</")) return takeReferences(cursor, encoding);
  cursor = end;
  return CharacterData{plain, true};
}

// Appends the text that character data so taken stands for.
bool decodeCharacterData(std::string_view bytes, DecodedText& into);

}  // namespace velmora
