#include <unistd.h>

#include <array>
#include <climits>

#include "platform/files.h"

namespace velmora {

std::filesystem::path temporaryDirectory() {
  std::array<char, PATH_MAX> path{};
  const std::size_t size = ::confstr(_CS_DARWIN_USER_TEMP_DIR, path.data(), path.size());
  return size > 1 && size <= path.size() ? path.data() : "/tmp";
}

}  // namespace velmora
