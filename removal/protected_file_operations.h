// The irreversible step: the deletion of a property list in a folder that its user controls.
#pragma once

#include <filesystem>

#include "platform/file_descriptor.h"
#include "removal/candidate.h"
#include "removal/legacy_background_item_removal_error.h"

namespace velmora {

// Opens the absolute path `directory` by walking it from "/" one component at a time, so that no
// symbolic link is followed at any depth; never holds more than two descriptors.
// Raises LegacyBackgroundItemRemovalError::unsafePath with the whole path when a component is
// missing, is a link or no folder, or cannot be opened; the causes are not told apart, because a
// caller could only use that to probe.
FileDescriptor openDirectoryNoFollow(const std::filesystem::path& directory);

// The deletion failed, and yet nothing has the file's name any more: the archive has the only copy.
class CandidateFileGone final : public LegacyBackgroundItemRemovalError {
 public:
  explicit CandidateFileGone(const LegacyBackgroundItemRemovalError& error)
      : LegacyBackgroundItemRemovalError(error) {}
};

// Deletes the candidate's file if it still is a regular file of the expected owner with exactly
// the bytes that were found; looks at it and deletes it through one descriptor of its folder, which
// is reached as by openDirectoryNoFollow.
// Raises LegacyBackgroundItemRemovalError: unsafePath for its folder; itemChanged when it is not
// the file that was found or cannot be read; removalFailed when the system refuses to delete it.
// The file stays where it is then, unless that removalFailed is a CandidateFileGone.
void removeCandidateFile(const Candidate& candidate);

}  // namespace velmora
