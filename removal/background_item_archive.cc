#include "removal/background_item_archive.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/files.h"
#include "platform/platform_error.h"
#include "platform/text.h"
#include "platform/uuid.h"
#include "removal/archive_metadata.h"
#include "removal/legacy_background_item_removal_error.h"

namespace velmora {
namespace {

constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;

void checkIsRealDirectory(const std::filesystem::path& base) {
  struct stat status {};
  if (::lstat(base.c_str(), &status) != 0) throw PlatformError("examine", base, errno);
  // A link here would lead root's writing elsewhere.
  if (!S_ISDIR(status.st_mode)) throw LegacyBackgroundItemRemovalError::archiveUnavailable();
}

ArchiveMetadata metadataOf(const Candidate& candidate, std::uint32_t clientUserIdentifier) {
  return {.label = candidate.label,
          .token = itemKey(candidate.kind, candidate.label),
          .originalPath = candidate.url,
          .clientUserIdentifier = clientUserIdentifier,
          .removedAt = secondsSinceReferenceDate()};
}

}  // namespace

const std::filesystem::path& defaultArchiveBaseDirectory() {
  // Never destroyed: connections' threads may still use it while the process ends.
  static const auto& base =
      *new std::filesystem::path("/Library/Application Support/Velmora/Background Item Backups");
  return base;
}

std::filesystem::path prepareArchiveDirectory(const std::filesystem::path& base) {
  createDirectories(base);
  checkIsRealDirectory(base);
  std::filesystem::path folder = base / uuidString();
  createDirectory(folder);
  return folder;
}

ArchiveEntry writeArchiveEntry(const Candidate& candidate, const std::filesystem::path& folder,
                               std::uint32_t clientUserIdentifier) {
  const std::string stem = lowercased(uuidString());
  ArchiveEntry entry{folder / (stem + ".plist"), folder / (stem + ".json")};
  const ArchiveMetadata metadata = metadataOf(candidate, clientUserIdentifier);
  const uid_t owner = ::geteuid();
  try {
    writeAtomically(entry.plistURL, candidate.data, ownerOnly, owner);
    writeAtomically(entry.metadataURL, encodeArchiveMetadata(metadata), ownerOnly, owner);
    // A file whose name is not on disk is lost in a power cut, whatever is on disk of its bytes.
    // The one flush of an item that waits for the disk itself; it takes along what was flushed
    // before.
    synchronizeDirectory(folder, Flush::toDisk);
  } catch (...) {
    discardArchiveEntry(entry);
    throw;
  }
  return entry;
}

void discardArchiveEntry(const ArchiveEntry& entry) noexcept {
  ::unlink(entry.plistURL.c_str());
  ::unlink(entry.metadataURL.c_str());
}

}  // namespace velmora
