#include "removal/privileged_legacy_background_item_removal_service.h"

#include <utility>

#include "platform/cancellation_error.h"
#include "platform/deadline.h"
#include "protocol/operations.h"
#include "removal/background_item_archive.h"
#include "removal/candidate_discovery.h"
#include "removal/legacy_background_item_removal_error.h"
#include "removal/removal_request.h"
#include "removal/removal_transaction.h"

namespace velmora {
namespace {

// The keys under which discovery knows what is requested, in the order of the requests.
std::vector<std::string> keysOf(const std::vector<RemovalRequest>& requests) {
  std::vector<std::string> keys;
  keys.reserve(requests.size());
  for (const auto& [kind, label] : requests) keys.push_back(discoveryKey(kind, label));
  return keys;
}

// The candidate of each request, in the order of the requests, of which `keys` are the keys. The
// pointers are into `discovery`.
std::vector<const Candidate*> match(const std::vector<RemovalRequest>& requests,
                                    const std::vector<std::string>& keys,
                                    const CandidateDiscovery& discovery) {
  std::vector<const Candidate*> selected;
  selected.reserve(keys.size());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const std::string& label = requests[i].label;
    if (discovery.ambiguousKeys.contains(keys[i])) {
      throw LegacyBackgroundItemRemovalError::ambiguousItem(label);
    }
    const auto found = discovery.candidatesByKey.find(keys[i]);
    if (found == discovery.candidatesByKey.end()) {
      throw LegacyBackgroundItemRemovalError::itemNotFound(label);
    }
    selected.push_back(&found->second);
  }
  return selected;
}

}  // namespace

std::vector<std::string> PrivilegedLegacyBackgroundItemRemovalService::removeItems(
    const std::vector<std::string>& entries, const std::atomic<bool>* isCancelled) const {
  // Before everything else, since validating and finding take of the same time.
  const Deadline deadline = Deadline::after(RemovalBudgetSeconds);
  const std::vector<RemovalRequest> requests = validateRequest(entries);
  const std::vector<std::string> keys = keysOf(requests);
  const CandidateDiscovery discovery =
      discoverCandidates(resolveLocations(), {keys.begin(), keys.end()}, deadline);
  // All or none: nothing is touched before each item has its one file.
  const std::vector<const Candidate*> selected = match(requests, keys, discovery);
  const std::filesystem::path folder = prepareArchiveDirectory(archiveBaseDirectory);

  std::vector<std::string> removed;
  removed.reserve(selected.size());
  for (const Candidate* candidate : selected) {
    if (isCancelled != nullptr && *isCancelled) throw CancellationError();
    // Before the removal: without memory for it, an item would be gone unreported.
    std::string key = itemKey(candidate->kind, candidate->label);
    removeCandidate(*candidate, folder, deadline, clientUserIdentifier, *runner);
    removed.push_back(std::move(key));
  }
  return removed;
}

std::vector<Location> PrivilegedLegacyBackgroundItemRemovalService::resolveLocations() const {
  return locationsOverride ? *locationsOverride : defaultLocations(clientUserIdentifier);
}

}  // namespace velmora
