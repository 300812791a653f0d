#include "client/list_command.h"

#include <cstdio>

#include "client/item_listing.h"
#include "client/listing_text.h"
#include "client/printable_text.h"

namespace velmora {

ExitStatus runListCommand(bool asJSON) {
  const ItemListing listing = listItemsOfThisUser();
  std::fputs((asJSON ? jsonText(listing) : readableText(listing)).c_str(), stdout);
  if (!asJSON) return ExitStatus::done;
  // The array has no place for a folder.
  for (const ListedFolder& folder : listing) {
    if (folder.failure.empty()) continue;
    std::fprintf(stderr, "velmoractl: %s cannot be listed: %s\n",
                 printableText(folder.directory.native()).c_str(), folder.failure.c_str());
  }
  return ExitStatus::done;
}

}  // namespace velmora
