// Durations as a person reads them.
#pragma once

#include <string>

namespace velmora {

// "15 s", "14 min 40 s"; the part of a second is left out.
inline std::string durationText(double seconds) {
  const long whole = static_cast<long>(seconds);
  if (whole < 100) return std::to_string(whole) + " s";
  const std::string minutes = std::to_string(whole / 60) + " min";
  return whole % 60 == 0 ? minutes : minutes + " " + std::to_string(whole % 60) + " s";
}

}  // namespace velmora
