// The archive of removed property lists, which only root may enter: one folder per request, two
// files per item, its bytes and a record. It is only ever written; an entry is taken back when
// the removal of its item fails, so that an entry that stays stands for a file that was deleted.
#pragma once

#include <cstdint>
#include <filesystem>

#include "removal/candidate.h"

namespace velmora {

struct ArchiveEntry {
  std::filesystem::path plistURL;     // the property list's bytes
  std::filesystem::path metadataURL;  // its record: ArchiveMetadata
};

// "/Library/Application Support/Velmora/Background Item Backups"
const std::filesystem::path& defaultArchiveBaseDirectory();

// Creates a new empty folder for one request in `base`, and `base` with the folders above it where
// they are missing (0700); an existing base keeps its mode and owner. Returns the new folder.
// Raises LegacyBackgroundItemRemovalError::archiveUnavailable when `base` is a symbolic link or no
// folder, and PlatformError when a folder cannot be created or looked at.
std::filesystem::path prepareArchiveDirectory(const std::filesystem::path& base);

// Writes the candidate's bytes, as they were found, and its record into the folder of a request
// made for `clientUserIdentifier`. When it returns, both files and their names are on disk.
// Raises PlatformError or JSONError; neither file is left then.
ArchiveEntry writeArchiveEntry(const Candidate& candidate, const std::filesystem::path& folder,
                               std::uint32_t clientUserIdentifier);

// Removes both files, as far as that can be done.
void discardArchiveEntry(const ArchiveEntry& entry) noexcept;

}  // namespace velmora
