#include <mach-o/dyld.h>

#include <array>
#include <climits>
#include <cstdint>

#include "platform/code_inspection.h"

namespace velmora {

std::filesystem::path executableOfThisProcess() {
  std::array<char, PATH_MAX> path{};
  std::uint32_t size = path.size();
  return ::_NSGetExecutablePath(path.data(), &size) == 0 ? path.data() : "";
}

}  // namespace velmora
