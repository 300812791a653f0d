// Where launchd jobs may be removed from.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "removal/location_kind.h"

namespace velmora {

struct Location {
  std::filesystem::path directory;  // absolute
  LocationKind kind;
  std::uint32_t expectedOwner;  // must own every property list taken from the folder
  std::string launchDomain;     // in which the folder's jobs are loaded: "gui/501", "system"
};

// The user's own LaunchAgents folder, /Library/LaunchAgents and /Library/LaunchDaemons, in this
// order, for the user `clientUserIdentifier`. Nothing is said about whether they exist. The user
// database is asked afresh each time.
// Raises LegacyBackgroundItemRemovalError::userUnavailable when it knows no such user, or no home
// whose path is UTF-8.
std::vector<Location> defaultLocations(std::uint32_t clientUserIdentifier);

}  // namespace velmora
