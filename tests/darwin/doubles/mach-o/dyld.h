// The test's own path is asked for by nobody.
#pragma once

#include <cstdint>

inline int _NSGetExecutablePath(char* /*path*/, std::uint32_t* /*size*/) {
  return -1;
}
