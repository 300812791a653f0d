// Background items as they are named on the command line.
#pragma once

#include <string>
#include <vector>

#include "client/item_listing.h"

namespace velmora {

// The item keys that `arguments` mean: KIND|LABEL as it is; KIND/LABEL, which a shell takes without
// quotes; the full path of a file in `listing`. Raises UsageError for what the helper would refuse
// whatever the folders hold: an unknown kind, a label that is protected or none, too many items.
// Whether there are such items is not asked here.
std::vector<std::string> itemKeysOf(const std::vector<std::string>& arguments,
                                    const ItemListing& listing);

}  // namespace velmora
