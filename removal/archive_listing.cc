#include "removal/archive_listing.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string_view>
#include <tuple>
#include <variant>

#include "platform/descriptor_io.h"
#include "platform/file_descriptor.h"
#include "platform/files.h"
#include "platform/utf8.h"
#include "removal/candidate_reading.h"
#include "removal/protected_file_operations.h"

namespace velmora {
namespace {

constexpr std::string_view recordEnding = ".json";
constexpr std::string_view fileEnding = ".plist";
constexpr std::string_view noteEnding = ".restored";
constexpr int fileFlags = O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC;

// Of a label and a path, every character escaped, there is room for much more than can be.
constexpr std::size_t maximumRecordBytes = std::size_t{1} << 16;

// The years 1970 to 9999.
constexpr double earliestRemoval = -978'307'200;
constexpr double latestRemoval = 252'423'993'599;

bool isThisUsersAlone(const FileDescriptor& opened, mode_t type) {
  struct stat status {};
  return ::fstat(opened.get(), &status) == 0 && (status.st_mode & S_IFMT) == type &&
         status.st_uid == ::geteuid() && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

bool isIdentifier(std::string_view stem) {
  constexpr std::string_view form = "hhhhhhhh-hhhh-hhhh-hhhh-hhhhhhhhhhhh";
  return std::ranges::equal(stem, form, [](char character, char expected) {
    const bool isDigit =
        (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f');
    return expected == 'h' ? isDigit : character == expected;
  });
}

std::string readRecord(const FileDescriptor& folder, const std::string& name) {
  const FileDescriptor file(::openat(folder.get(), name.c_str(), fileFlags));
  if (!file.isOpen() || !isThisUsersAlone(file, S_IFREG)) {
    throw ArchiveError("It is no file that only root may write.");
  }
  // One byte more, to see that there is no more.
  std::string bytes(maximumRecordBytes + 1, '\0');
  const std::optional<std::size_t> size = readAt(file, 0, bytes);
  if (!size || *size > maximumRecordBytes) throw ArchiveError("It cannot be read, or is too long.");
  bytes.resize(*size);
  return bytes;
}

// The kind that makes the record's token out of its label.
LocationKind kindOf(const ArchiveMetadata& metadata) {
  const auto* kind = std::ranges::find_if(allLocationKinds, [&](LocationKind each) {
    return itemKey(each, metadata.label) == metadata.token;
  });
  if (kind == allLocationKinds.end()) throw ArchiveError("Its token does not fit its label.");
  return *kind;
}

Location locationOf(const ArchiveMetadata& metadata, const LocationsOfUser& locationsOf) {
  const std::vector<Location> locations = locationsOf(metadata.clientUserIdentifier);
  const auto location = std::ranges::find(locations, kindOf(metadata), &Location::kind);
  if (location == locations.end()) throw ArchiveError("Its kind has no folder.");
  return *location;
}

// The name of the file that lies at `path` directly in the folder.
std::string nameWithin(const std::filesystem::path& folder, const std::string& path) {
  const std::string beginning = folder.native() + "/";
  std::string name = path.starts_with(beginning) ? path.substr(beginning.size()) : "";
  // A hidden file, "." and ".." included, is none that was ever removed.
  if (name.empty() || name.starts_with('.') || name.find('/') != std::string::npos ||
      name.find('\0') != std::string::npos) {
    throw ArchiveError("Its path does not lie in the folder of its kind and user.");
  }
  return name;
}

std::string readFileOf(const FileDescriptor& folder, const ArchivedItem& item) {
  // The archived file has to pass what the file passed when it was removed, but for its owner.
  const Location archive{item.folder, item.location.kind, ::geteuid(), item.location.launchDomain};
  CandidateReading reading =
      readCandidate(folder, item.identifier + std::string(fileEnding), archive, [] {});
  if (const auto* refused = std::get_if<RefusedFile>(&reading)) {
    throw ArchiveError("Its archived file " + std::string(description(refused->reason)) + ".");
  }
  auto& candidate = std::get<Candidate>(reading);
  if (candidate.label != item.metadata.label) {
    throw ArchiveError("Its archived file has another label.");
  }
  return std::move(candidate.data);
}

ArchivedItem examine(const FileDescriptor& folder, const std::filesystem::path& path,
                     const std::string& identifier, const LocationsOfUser& locationsOf) {
  if (!isIdentifier(identifier)) throw ArchiveError("Its name is none that the helper gives.");
  ArchivedItem item{
      .identifier = identifier,
      .folder = path,
      .metadata = decodeArchiveMetadata(readRecord(folder, identifier + std::string(recordEnding))),
      .location = {},
      .name = {},
      .isRestored = false};
  item.location = locationOf(item.metadata, locationsOf);
  item.name = nameWithin(item.location.directory, item.metadata.originalPath);
  const double removedAt = item.metadata.removedAt;
  // Said this way round, a date that is not a number is none.
  if (!(removedAt >= earliestRemoval && removedAt <= latestRemoval)) {
    throw ArchiveError("Its date is none.");
  }
  // A list must not promise what restoring then refuses.
  (void)readFileOf(folder, item);
  struct stat status {};
  const std::string note = restorationNoteOf(item).filename();
  item.isRestored = ::fstatat(folder.get(), note.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
  return item;
}

std::vector<std::string> namesIn(const FileDescriptor& folder) {
  std::vector<std::string> names;
  visitVisibleEntries(folder, [&](std::string_view name) { names.emplace_back(name); });
  std::ranges::sort(names);
  return names;
}

void listFolder(const FileDescriptor& folder, const std::filesystem::path& path,
                const LocationsOfUser& locationsOf, ArchiveListing& listing) {
  if (!folder.isOpen() || !isThisUsersAlone(folder, S_IFDIR)) {
    throw ArchiveError("It is no folder that only root may write.");
  }
  const std::vector<std::string> names = namesIn(folder);
  for (const std::string& name : names) {
    // Notes and partial files are passed over: alone, they stand for nothing.
    const std::string stem = std::filesystem::path(name).stem();
    const bool isRecord = name.ends_with(recordEnding);
    const bool isFileAlone = name.ends_with(fileEnding) &&
                             !std::ranges::binary_search(names, stem + std::string(recordEnding));
    try {
      if (isRecord) listing.items.push_back(examine(folder, path, stem, locationsOf));
      if (isFileAlone) throw ArchiveError("It has no record.");
    } catch (const LocalizedError& error) {
      listing.damaged.push_back({path / name, error.errorDescription()});
    }
  }
}

bool isMissing(const std::filesystem::path& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) != 0 && errno == ENOENT;
}

}  // namespace

ArchiveListing listArchive(const std::filesystem::path& base, const LocationsOfUser& locationsOf) {
  ArchiveListing listing;
  // No removal has come that far yet.
  if (isMissing(base)) return listing;
  const FileDescriptor archive = openDirectoryNoFollow(base);
  if (!isThisUsersAlone(archive, S_IFDIR)) {
    throw ArchiveError("Others than root may write in " + base.string() + ".");
  }
  for (const std::string& name : namesIn(archive)) {
    // One folder that is damaged keeps no other from being listed.
    const FileDescriptor folder(::openat(archive.get(), name.c_str(), fileFlags | O_DIRECTORY));
    try {
      listFolder(folder, base / name, locationsOf, listing);
    } catch (const LocalizedError& error) {
      listing.damaged.push_back({base / name, error.errorDescription()});
    }
  }
  std::ranges::sort(listing.items, {}, [](const ArchivedItem& item) {
    return std::tuple(item.metadata.removedAt, item.identifier);
  });
  return listing;
}

std::string readArchivedFile(const ArchivedItem& item) {
  return readFileOf(openDirectoryNoFollow(item.folder), item);
}

std::filesystem::path restorationNoteOf(const ArchivedItem& item) {
  return item.folder / (item.identifier + std::string(noteEnding));
}

}  // namespace velmora
