// What compilers want behind a switch in which every case of an enumeration returns.
#pragma once

#include <cstdlib>

namespace velmora {

// Ends the program: only a value that the enumeration does not have leads here.
[[noreturn]] inline void unreachable() {
  std::abort();
}

}  // namespace velmora
