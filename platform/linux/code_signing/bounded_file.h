// Reading a small file that may not be what it should be.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace velmora {

// The bytes of the regular file at `path`; nothing when there is no such file, it is of another
// kind, it is larger than `maximumBytes`, or it cannot be read whole. Never blocks on a named
// pipe, and reads nothing of a file that is too large.
std::optional<std::string> readBoundedFile(const std::string& path, std::size_t maximumBytes);

}  // namespace velmora
