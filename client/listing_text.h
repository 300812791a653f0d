// A listing of items as people and as programs read it.
#pragma once

#include <string>

#include "client/item_listing.h"

namespace velmora {

// Folder by folder, a line per file: the item's key, or "-", and the file with the reason. Nothing
// in it acts on a terminal.
std::string readableText(const ItemListing& listing);

// One JSON array, a line per file. Bytes of a name that are no text become U+FFFD.
std::string jsonText(const ItemListing& listing);

}  // namespace velmora
