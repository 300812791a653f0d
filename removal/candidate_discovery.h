// Finds, in the allowed folders, the property lists that are safe to act on. Reads only.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/deadline.h"
#include "removal/candidate.h"
#include "removal/candidate_reading.h"
#include "removal/location.h"

namespace velmora {

// All by discoveryKey.
struct CandidateDiscovery {
  std::unordered_map<std::string, Candidate> candidatesByKey;  // the first of each
  std::unordered_set<std::string> ambiguousKeys;  // claimed by more than one acceptable file
};

// Lists each folder of `locations` once and examines every property list directly in it. Keeps the
// candidates of `requestedKeys` alone: a folder may hold far more than memory does. What is wrong
// with one file or folder loses that file or folder only.
// Raises HelperCommandError::timedOut at the deadline, wherever it then is, and std::bad_alloc.
CandidateDiscovery discoverCandidates(const std::vector<Location>& locations,
                                      const std::unordered_set<std::string>& requestedKeys,
                                      Deadline deadline);

// What became of one file whose name (bytes) ends in ".plist", in any letter case.
using FileVisitor = std::function<void(std::string_view name, CandidateReading reading)>;

// Examines every property list directly in the folder of `location`, in the order of its listing.
// Raises PlatformError, before the first of them, when the folder cannot be listed to its end; what
// `visit` raises; and what discoverCandidates raises.
void examinePropertyLists(const Location& location, Deadline deadline, const FileVisitor& visit);

// The key under which discovery keeps an item: its item key in canonical form.
std::string discoveryKey(LocationKind kind, std::string_view label);

}  // namespace velmora
