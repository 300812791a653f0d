// Carries out one removal request: everything that was asked for is found first, or nothing is
// touched; then item after item is removed, and the first that fails ends the request. Runs on
// the calling thread, under the caller's operation lock.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "removal/candidate.h"
#include "removal/location.h"
#include "runner/helper_command_running.h"

namespace velmora {

// A value made for one call.
struct PrivilegedLegacyBackgroundItemRemovalService {
  std::uint32_t clientUserIdentifier;
  std::optional<std::vector<Location>> locationsOverride;  // in the place of the three folders
  std::filesystem::path archiveBaseDirectory;
  std::shared_ptr<const HelperCommandRunning> runner;  // for launchctl

  // Removes the items whose keys are `entries` and returns the keys of what was removed, in that
  // order, with the labels as their files had them. Reads no further file and starts no launchctl
  // once RemovalBudgetSeconds have passed since its beginning. `cancellation` is looked at before each item.
  // Raises the first error met, unchanged; items removed before it stay removed and archived, the
  // failed item is as removeCandidate leaves it, later ones are untouched. Besides what the steps
  // raise: LegacyBackgroundItemRemovalError::ambiguousItem and itemNotFound, with nothing touched,
  // and CancellationError.
  std::vector<std::string> removeItems(const std::vector<std::string>& entries,
                                       const std::stop_token& cancellation = {}) const;

  // The folders to search: locationsOverride, or else the client user's defaultLocations.
  // Raises what that raises.
  std::vector<Location> resolveLocations() const;

  // Stops the candidate's job if it is loaded, archives its property list into `folder` and
  // deletes it; removal_transaction.cc. `deadline`, in seconds on the uptime clock, binds the two
  // launchctl commands for that. Raises the error of the step that failed, unchanged; by then its
  // archive entry is gone again, and its job loaded again if this call had stopped it.
  void removeCandidate(const Candidate& candidate, const std::filesystem::path& folder,
                       double deadline) const;
};

}  // namespace velmora
