// Random identifiers for names that nobody must be able to guess or meet twice.
#pragma once

#include <string>

namespace velmora {

// A random version-4 UUID in its canonical upper-case form of 36 characters (RFC 9562).
// Raises PlatformError when the system has no random bytes to give.
std::string uuidString();

}  // namespace velmora
