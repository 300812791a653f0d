// The record that lies beside an archived property list.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace velmora {

struct ArchiveMetadata {
  std::string label;
  std::string token;         // the item key
  std::string originalPath;  // of the removed file
  std::uint32_t clientUserIdentifier;
  double removedAt;  // seconds since 2001-01-01 00:00:00 UTC, as Swift's coders have a date
};

// The current time as `removedAt` counts it.
double secondsSinceReferenceDate();

// One JSON object with exactly these five members. Raises JSONError.
std::string encodeArchiveMetadata(const ArchiveMetadata& metadata);

// The record of a JSON object that has these five members; others are ignored. Raises JSONError,
// also when one is missing or of another type.
ArchiveMetadata decodeArchiveMetadata(std::string_view json);

}  // namespace velmora
