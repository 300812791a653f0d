// What a client asks to have removed, checked before any folder is looked at.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "removal/location_kind.h"

namespace velmora {

struct RemovalRequest {
  LocationKind kind;
  std::string label;
};

inline constexpr std::size_t maximumRequestedItems = 128;

// The requests that `entries` (item keys, UTF-8) stand for, in their order, each distinct item
// once; entries that are canonically equivalent are one.
// Raises LegacyBackgroundItemRemovalError::invalidRequest, not saying which entry is wrong, unless
// there are 1 to maximumRequestedItems distinct ones and each is well-formed.
std::vector<RemovalRequest> validateRequest(const std::vector<std::string>& entries);

// Raises LegacyBackgroundItemRemovalError::invalidRequest.
RemovalRequest parseRequestEntry(std::string_view entry);

}  // namespace velmora
