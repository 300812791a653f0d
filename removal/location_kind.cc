#include "removal/location_kind.h"

#include <algorithm>

#include "platform/unreachable.h"

namespace velmora {

std::string_view rawValue(LocationKind kind) {
  switch (kind) {
    case LocationKind::userAgent:
      return "userAgent";
    case LocationKind::sharedAgent:
      return "sharedAgent";
    case LocationKind::systemDaemon:
      return "systemDaemon";
  }
  unreachable();
}

std::optional<LocationKind> locationKindFrom(std::string_view text) {
  const auto* found = std::ranges::find(allLocationKinds, text, rawValue);
  return found != allLocationKinds.end() ? std::optional(*found) : std::nullopt;
}

std::string itemKey(LocationKind kind, std::string_view label) {
  return std::string(rawValue(kind)) + "|" + std::string(label);
}

}  // namespace velmora
