// Finds, in the allowed folders, the property lists that are safe to act on. Reads only.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "removal/candidate.h"
#include "removal/candidate_reading.h"
#include "removal/location.h"

namespace velmora {

struct CandidateDiscovery {
  // Both by discoveryKey. A key is never in both.
  std::unordered_map<std::string, Candidate> candidatesByKey;
  std::unordered_set<std::string> ambiguousKeys;  // claimed by more than one acceptable file
};

// What became of one file whose name ends in ".plist", in any letter case.
struct ExaminedFile {
  const Location& location;
  std::string_view name;  // bytes, as listed
  const CandidateReading& reading;
};

// Must not keep what it is shown.
using CandidateObserver = std::function<void(const ExaminedFile&)>;

// Lists each folder of `locations` once and examines every property list directly in it. What is
// wrong with one file or folder loses that file or folder only. `observer`, if any, is told of
// every file in the order of the listing.
// Raises std::bad_alloc, and what `observer` raises.
CandidateDiscovery discoverCandidates(const std::vector<Location>& locations,
                                      const CandidateObserver& observer = nullptr);

// The key under which discovery keeps an item: its item key in canonical form.
std::string discoveryKey(LocationKind kind, std::string_view label);

}  // namespace velmora
