// Examines one file of a launchd folder and reads it, if it is one that may be removed.
#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "platform/file_descriptor.h"
#include "platform/property_list.h"
#include "removal/candidate.h"
#include "removal/location.h"

namespace velmora {

// Why a property list is no candidate.
enum class CandidateRefusal {
  nameNotText,
  symbolicLink,
  notOpened,
  notARegularFile,
  wrongOwner,
  tooLarge,
  notReadWhole,
  notAPropertyList,
  notADictionary,
  noLabel,
  labelNotAString,
  labelNotAllowed,
};

// The refusal as the end of a sentence about the file: "belongs to another user".
std::string_view description(CandidateRefusal refusal);

struct RefusedFile {
  CandidateRefusal reason;
  std::string label;  // with labelNotAllowed only
};

using CandidateReading = std::variant<Candidate, RefusedFile>;

// Examines the file `name`, as it was listed in the opened folder `directory` of `location`: type
// and owner, bytes and label, all on one descriptor, so that a file put in its place meanwhile
// cannot lend it what it lacks. Follows no link, waits for no pipe or device, and takes no more
// memory than can be spared; a file that changes its size while it is read is refused.
// Raises what `checkpoint` raises, and std::bad_alloc, the latter not because of the file's size.
CandidateReading readCandidate(const FileDescriptor& directory, const std::string& name,
                               const Location& location, const ReadingCheckpoint& checkpoint);

}  // namespace velmora
