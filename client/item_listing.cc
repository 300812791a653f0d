#include "client/item_listing.h"

#include <unistd.h>

#include <algorithm>
#include <system_error>
#include <variant>

#include "platform/text.h"
#include "removal/candidate_discovery.h"

namespace velmora {
namespace {

std::string reasonAgainst(const ExaminedFile& file) {
  const auto* refusal = std::get_if<CandidateRefusal>(&file.reading.outcome);
  if (refusal == nullptr) return "";
  // Of the refusals, the one that the helper, as root, might not share.
  const bool dependsOnUser = *refusal == CandidateRefusal::notOpened;
  return std::string(description(*refusal)) + (dependsOnUser ? " by you" : "");
}

// Discovery passes over a folder that it cannot list; here it is asked why.
std::string listingFailure(const std::filesystem::path& directory) {
  std::error_code error;
  const std::filesystem::directory_iterator entries(directory, error);
  return error ? error.message() : "";
}

void markAmbiguous(ListedFolder& folder, const std::unordered_set<std::string>& ambiguousKeys) {
  for (ListedFile& file : folder.files) {
    if (file.isRemovable() && ambiguousKeys.contains(discoveryKey(file.kind, file.label))) {
      file.reason = "has the same label as another file";
    }
  }
}

}  // namespace

ItemListing listItems(const std::vector<Location>& locations) {
  ItemListing listing;
  for (const Location& location : locations) listing.push_back({location.directory, "", {}});
  const CandidateDiscovery discovery = discoverCandidates(locations, [&](const ExaminedFile& file) {
    // By its place: a home in "/" makes two locations of one folder.
    const auto place = static_cast<std::size_t>(&file.location - locations.data());
    listing[place].files.push_back(
        {std::string(file.name), file.location.kind, file.reading.label, reasonAgainst(file)});
  });
  for (ListedFolder& folder : listing) {
    if (folder.files.empty()) folder.failure = listingFailure(folder.directory);
    markAmbiguous(folder, discovery.ambiguousKeys);
    std::ranges::sort(folder.files, {}, &ListedFile::name);
  }
  return listing;
}

ItemListing listItemsOfThisUser() {
  // The helper, too, goes by the effective user of whoever connects.
  return listItems(defaultLocations(::geteuid()));
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
