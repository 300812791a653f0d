// One property list that may be removed.
#pragma once

#include <cstdint>
#include <string>

#include "removal/location_kind.h"

namespace velmora {

struct Candidate {
  std::string url;    // the path: the location's folder and the file's name
  std::string label;  // as the file has it
  LocationKind kind;
  std::string launchDomain;
  std::uint32_t expectedOwner;
  std::string data;  // the file's bytes when it was found; what is removed must still be these
};

}  // namespace velmora
