// Carries out one removal request: everything that was asked for is found first, or nothing is
// touched; then item after item is removed, and the first that fails ends the request. Runs on
// the calling thread, under the caller's operation lock.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

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
  // order, with the labels as their files had them. The whole has RemovalBudgetSeconds from its
  // beginning: then the search ends, and no further launchctl is started. `isCancelled`, if any, is
  // looked at before each item.
  // Raises the first error met, unchanged; items removed before it stay removed and archived, the
  // failed item is as removeCandidate leaves it, later ones are untouched. Besides what the steps
  // raise: LegacyBackgroundItemRemovalError::ambiguousItem and itemNotFound, with nothing touched,
  // and CancellationError.
  std::vector<std::string> removeItems(const std::vector<std::string>& entries,
                                       const std::atomic<bool>* isCancelled = nullptr) const;

  // The folders to search: locationsOverride, or else the client user's defaultLocations.
  // Raises what that raises.
  std::vector<Location> resolveLocations() const;
};

}  // namespace velmora
