#include "client/item_listing.h"

#include <unistd.h>

#include <algorithm>
#include <system_error>
#include <unordered_map>
#include <variant>

#include "client/printable_text.h"
#include "platform/platform_error.h"
#include "platform/text.h"
#include "platform/utf8.h"
#include "removal/candidate_discovery.h"
#include "removal/legacy_background_item_removal_error.h"
#include "removal/removal_request.h"

namespace velmora {
namespace {

// Whether the helper could be asked for the item of this key: behind the separator, a label that
// begins with a mark does not begin a character of its own.
bool isRequestable(const std::string& key) {
  try {
    (void)parseRequestEntry(key);
    return true;
  } catch (const LegacyBackgroundItemRemovalError&) {
    return false;
  }
}

ListedFile listed(std::string_view name, LocationKind kind, const Candidate& candidate) {
  const bool isRemovable = isRequestable(itemKey(kind, candidate.label));
  return {std::string(name), kind, candidate.label,
          isRemovable ? "" : "has a label that no request can name"};
}

ListedFile listed(std::string_view name, LocationKind kind, const RefusedFile& file) {
  // Of the refusals, the one that the helper, as root, might not share.
  const bool dependsOnUser = file.reason == CandidateRefusal::notOpened;
  return {std::string(name), kind, file.label,
          std::string(description(file.reason)) + (dependsOnUser ? " by you" : "")};
}

ListedFolder listFolder(const Location& location) {
  ListedFolder folder{location.directory, location.kind, "", {}};
  try {
    examinePropertyLists(
        location, Deadline::never(), [&](std::string_view name, const CandidateReading& reading) {
          folder.files.push_back(std::visit(
              [&](const auto& outcome) { return listed(name, location.kind, outcome); }, reading));
        });
  } catch (const PlatformError& error) {
    folder.failure = std::generic_category().message(error.code());
  }
  std::ranges::sort(folder.files, {}, &ListedFile::name);
  return folder;
}

// The key that the file's label makes, or else its name, by which a person knows a file that was
// not read. Empty when the name is no text.
std::string claimedOrBorneKey(const ListedFile& file) {
  if (!file.label.empty()) return discoveryKey(file.kind, file.label);
  const std::string stem = std::filesystem::path(file.name).stem();
  return isUTF8(stem) ? discoveryKey(file.kind, stem) : "";
}

void markAmbiguous(ItemListing& listing) {
  std::unordered_map<std::string, int> countsByKey;
  for (const ListedFolder& folder : listing) {
    for (const ListedFile& file : folder.files) {
      if (file.isRemovable()) ++countsByKey[discoveryKey(file.kind, file.label)];
    }
  }
  for (ListedFolder& folder : listing) {
    for (ListedFile& file : folder.files) {
      if (file.isRemovable() && countsByKey[discoveryKey(file.kind, file.label)] > 1) {
        file.reason = "has the same label as another file";
      }
    }
  }
}

}  // namespace

ItemListing listItems(const std::vector<Location>& locations) {
  ItemListing listing;
  for (const Location& location : locations) listing.push_back(listFolder(location));
  markAmbiguous(listing);
  return listing;
}

ItemListing listItemsOfThisUser() {
  // The helper, too, goes by the effective user of whoever connects.
  return listItems(defaultLocations(::geteuid()));
}

std::vector<std::string> obstaclesTo(const ItemListing& listing, const std::string& key) {
  const RemovalRequest request = parseRequestEntry(key);
  const std::string wanted = discoveryKey(request.kind, request.label);
  std::vector<std::string> obstacles;
  for (const ListedFolder& folder : listing) {
    if (folder.kind != request.kind) continue;
    const std::string directory = printableText(folder.directory.native());
    if (!folder.failure.empty()) {
      obstacles.push_back(directory + " cannot be listed: " + folder.failure);
    }
    for (const ListedFile& file : folder.files) {
      if (claimedOrBorneKey(file) != wanted) continue;
      if (file.isRemovable()) return {};
      obstacles.push_back(printableText((folder.directory / file.name).native()) + " " +
                          file.reason);
    }
    if (obstacles.empty()) {
      obstacles.push_back("no property list in " + directory + " has this label");
    }
  }
  return obstacles;
}

std::vector<std::filesystem::path> filesOfItem(const ItemListing& listing, std::string_view key) {
  const std::string wanted = canonicalForm(key);
  std::vector<std::filesystem::path> files;
  for (const ListedFolder& folder : listing) {
    for (const ListedFile& file : folder.files) {
      if (!file.label.empty() && discoveryKey(file.kind, file.label) == wanted) {
        files.push_back(folder.directory / file.name);
      }
    }
  }
  return files;
}

}  // namespace velmora
