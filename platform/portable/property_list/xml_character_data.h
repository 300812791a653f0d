// Character data: what stands between two tags of an XML property list.
#pragma once

#include <optional>
#include <string>

#include "platform/portable/text/cursor.h"

namespace velmora {

// Takes the characters, references and CDATA sections at the front of `cursor` up to the next tag;
// nothing when they are not UTF-8, do not end, or have a reference other than to a character or
// one of the five predefined entities. A byte-order mark at the beginning is lost, as in Apple's
// strings.
std::optional<std::string> readCharacterData(Cursor& cursor);

}  // namespace velmora
