#include "removal/candidate_discovery.h"

#include <fcntl.h>

#include <optional>
#include <utility>

#include "platform/files.h"
#include "platform/platform_error.h"
#include "platform/text.h"
#include "platform/utf8.h"

namespace velmora {
namespace {

bool isNamedAsPropertyList(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return false;
  const std::optional<std::string> extension = decodeUTF8(name.substr(dot + 1));
  return extension && lowercased(*extension) == "plist";
}

// Keeps a candidate that is the first of its key; any second one makes the key ambiguous for good.
void keep(CandidateDiscovery& discovery, Candidate candidate) {
  const std::string key = discoveryKey(candidate.kind, candidate.label);
  if (discovery.ambiguousKeys.contains(key)) return;
  if (discovery.candidatesByKey.erase(key) > 0) {
    discovery.ambiguousKeys.insert(key);
  } else {
    discovery.candidatesByKey.emplace(key, std::move(candidate));
  }
}

void scan(const Location& location, CandidateDiscovery& discovery,
          const CandidateObserver& observer) {
  const FileDescriptor directory(
      ::open(location.directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory.isOpen()) return;
  for (const std::string& name : visibleEntries(directory)) {
    if (!isNamedAsPropertyList(name)) continue;
    CandidateReading reading = readCandidate(directory, name, location);
    if (observer) observer({location, name, reading});
    if (auto* candidate = std::get_if<Candidate>(&reading.outcome)) {
      keep(discovery, std::move(*candidate));
    }
  }
}

}  // namespace

CandidateDiscovery discoverCandidates(const std::vector<Location>& locations,
                                      const CandidateObserver& observer) {
  CandidateDiscovery discovery;
  for (const Location& location : locations) {
    try {
      scan(location, discovery, observer);
    } catch (const PlatformError&) {
      // A folder that cannot be listed contributes nothing. Its entries are known before the
      // first of them is examined, so that none is taken from half a listing.
    }
  }
  return discovery;
}

std::string discoveryKey(LocationKind kind, std::string_view label) {
  return canonicalForm(itemKey(kind, label));
}

}  // namespace velmora
