// The place behind a switch whose cases all return.
#pragma once

#include <cstdlib>

namespace velmora {

// What the compilers want behind such a switch: to them, an enumeration may hold any number.
[[noreturn]] inline void unreachable() {
  std::abort();
}

}  // namespace velmora
