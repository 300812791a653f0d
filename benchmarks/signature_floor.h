// The least that finding an executable genuine can take: what admission is held against.
#pragma once

#include <string>

namespace velmora::bench {

// Hashes the executable at `path` and verifies the signature beside it by the installed anchors.
// Nothing is kept from an earlier time. Raises std::runtime_error when the signature does not hold.
void verifyBarely(const std::string& path);

}  // namespace velmora::bench
