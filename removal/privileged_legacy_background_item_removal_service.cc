#include "removal/privileged_legacy_background_item_removal_service.h"

#include <utility>

#include "platform/cancellation_error.h"
#include "platform/process_info.h"
#include "protocol/operations.h"
#include "removal/background_item_archive.h"
#include "removal/candidate_discovery.h"
#include "removal/legacy_background_item_removal_error.h"
#include "removal/removal_request.h"
#include "runner/helper_command_error.h"

namespace velmora {
namespace {

// The candidate of each request, in the order of the requests. The pointers are into `discovery`.
std::vector<const Candidate*> match(const std::vector<RemovalRequest>& requests,
                                    const CandidateDiscovery& discovery) {
  std::vector<const Candidate*> selected;
  for (const RemovalRequest& request : requests) {
    const std::string key = discoveryKey(request.kind, request.label);
    if (discovery.ambiguousKeys.contains(key)) {
      throw LegacyBackgroundItemRemovalError::ambiguousItem(request.label);
    }
    const auto found = discovery.candidatesByKey.find(key);
    if (found == discovery.candidatesByKey.end()) {
      throw LegacyBackgroundItemRemovalError::itemNotFound(request.label);
    }
    selected.push_back(&found->second);
  }
  return selected;
}

// Files enough, or large enough, would otherwise have the helper read for their user, and refuse
// everybody else, as long as that user likes. What is raised is what the first item's first
// command would raise after the deadline.
void endAt(double deadline) {
  if (systemUptime() >= deadline) throw HelperCommandError::timedOut("launchctl");
}

}  // namespace

std::vector<std::string> PrivilegedLegacyBackgroundItemRemovalService::removeItems(
    const std::vector<std::string>& entries, const std::stop_token& cancellation) const {
  const double deadline = systemUptime() + RemovalBudgetSeconds;
  const std::vector<RemovalRequest> requests = validateRequest(entries);
  const CandidateDiscovery discovery =
      discoverCandidates(resolveLocations(), [deadline](const ExaminedFile&) { endAt(deadline); });
  const std::vector<const Candidate*> selected = match(requests, discovery);
  const std::filesystem::path folder = prepareArchiveDirectory(archiveBaseDirectory);

  std::vector<std::string> removed;
  removed.reserve(selected.size());
  for (const Candidate* candidate : selected) {
    if (cancellation.stop_requested()) throw CancellationError();
    std::string key = itemKey(candidate->kind, candidate->label);
    removeCandidate(*candidate, folder, deadline);
    removed.push_back(std::move(key));
  }
  return removed;
}

std::vector<Location> PrivilegedLegacyBackgroundItemRemovalService::resolveLocations() const {
  return locationsOverride ? *locationsOverride : defaultLocations(clientUserIdentifier);
}

}  // namespace velmora
