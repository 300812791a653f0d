// Reads the archive back. Only root can have written there, and yet nothing in it is taken at its
// word: a record that does not agree in every part with its archived file and with the folder of
// its kind and user is damaged, and is never acted on. Follows no link, reads no more than can be
// spared. The helper itself never reads its archive.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/localized_error.h"
#include "removal/archive_metadata.h"
#include "removal/location.h"

namespace velmora {

struct ArchivedItem {
  std::string identifier;        // what both its files are named, without the ending
  std::filesystem::path folder;  // of its request
  ArchiveMetadata metadata;
  Location location;  // where it was removed from
  std::string name;   // of the file there
  bool isRestored;    // there is a note that it was
};

struct DamagedEntry {
  std::filesystem::path path;
  std::string reason;  // a sentence
};

struct ArchiveListing {
  std::vector<ArchivedItem> items;  // the oldest first
  std::vector<DamagedEntry> damaged;
};

// What is wrong with an entry of the archive.
class ArchiveError : public LocalizedError {
 public:
  explicit ArchiveError(std::string description) : description_(std::move(description)) {}
  std::string errorDescription() const override { return description_; }

 private:
  std::string description_;
};

using LocationsOfUser = std::function<std::vector<Location>(std::uint32_t user)>;

// Examines every entry of the archive in `base`; one that does not exist holds none. Raises
// LegacyBackgroundItemRemovalError::unsafePath when `base` cannot be opened without following a
// link, ArchiveError when others than this process's user may write there, and PlatformError when
// it cannot be listed.
ArchiveListing listArchive(const std::filesystem::path& base,
                           const LocationsOfUser& locationsOf = defaultLocations);

// The bytes of the archived file, if they still are a property list of the label in the record.
// Raises ArchiveError, and LegacyBackgroundItemRemovalError::unsafePath for the folder.
std::string readArchivedFile(const ArchivedItem& item);

// The file whose presence says that the item was restored.
std::filesystem::path restorationNoteOf(const ArchivedItem& item);

}  // namespace velmora
