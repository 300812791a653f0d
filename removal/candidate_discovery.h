// Finds, in the allowed folders, the property lists that are safe to act on. Reads only.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "removal/candidate.h"
#include "removal/location.h"

namespace velmora {

struct CandidateDiscovery {
  // Both by item key in canonical form, as discoveryKey makes it. A key is never in both.
  std::map<std::string, Candidate> candidatesByKey;
  std::set<std::string> ambiguousKeys;  // claimed by more than one acceptable file
};

// Why a property list is no candidate.
enum class CandidateRefusal {
  nameNotText,
  notOpened,  // gone, a symbolic link, or no permission
  notARegularFile,
  wrongOwner,
  tooLargeForMemory,
  notReadWhole,
  notAPropertyList,
  notADictionary,
  noLabel,
  labelNotAString,
  labelNotAllowed,
};

// The refusal as the end of a sentence about the file: "belongs to another user".
std::string_view description(CandidateRefusal refusal);

// What became of one file whose name ends in ".plist".
struct ExaminedFile {
  const Location& location;
  std::string_view name;  // bytes, as listed
  std::variant<const Candidate*, CandidateRefusal> outcome;
  std::string_view label;  // empty where none was read
};
using CandidateObserver = std::function<void(const ExaminedFile&)>;

// Lists each folder of `locations` once and examines every property list directly in it. What is
// wrong with one file or folder loses that file or folder only. `observer`, if any, is told of
// every file in the order of the listing.
// Raises std::bad_alloc only.
CandidateDiscovery discoverCandidates(const std::vector<Location>& locations,
                                      const CandidateObserver& observer = nullptr);

// The key under which discovery keeps an item: its item key in canonical form.
std::string discoveryKey(LocationKind kind, std::string_view label);

}  // namespace velmora
