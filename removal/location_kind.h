// The three kinds of place in which a launchd job's property list may lie, and the names under
// which requests, results and archive records know them.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

enum class LocationKind { userAgent, sharedAgent, systemDaemon };

inline constexpr std::array allLocationKinds = {LocationKind::userAgent, LocationKind::sharedAgent,
                                                LocationKind::systemDaemon};

// "userAgent", "sharedAgent" or "systemDaemon".
std::string_view rawValue(LocationKind kind);

// The kind whose raw value is exactly `text`, or nothing.
std::optional<LocationKind> locationKindFrom(std::string_view text);

// The text that names one item everywhere: kind, "|" and label.
std::string itemKey(LocationKind kind, std::string_view label);

}  // namespace velmora
