// The property lists in the allowed folders, judged by the helper's own discovery. What this
// process may not read it cannot judge, although the helper, which runs as root, could.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "removal/location.h"

namespace velmora {

struct ListedFile {
  std::string name;  // bytes
  LocationKind kind;
  std::string label;   // as the file has it; empty where none was read
  std::string reason;  // why it cannot be removed, as the end of a sentence; empty when it can

  bool isRemovable() const { return reason.empty(); }
};

struct ListedFolder {
  std::filesystem::path directory;
  LocationKind kind;
  std::string failure;  // why it cannot be listed; empty when it can
  std::vector<ListedFile> files;
};

using ItemListing = std::vector<ListedFolder>;

// Examines the folders of `locations`; one entry for each, in their order, the files by name.
ItemListing listItems(const std::vector<Location>& locations);

// The same for the default locations of this process's user. Raises what defaultLocations raises.
ItemListing listItemsOfThisUser();

// Why the helper will refuse the item `key`, which parseRequestEntry takes, as far as it is to be
// seen: sentences without a full stop, about files that claim the item or, where no label was read,
// bear its name. Empty when there is one file for it that can be removed.
std::vector<std::string> obstaclesTo(const ItemListing& listing, const std::string& key);

// The files that claim the item `key`, whether or not they can be removed, as whole paths.
std::vector<std::filesystem::path> filesOfItem(const ItemListing& listing, std::string_view key);

}  // namespace velmora
