#include "platform/files.h"

namespace velmora {

std::filesystem::path temporaryDirectory() {
  return "/tmp";
}

}  // namespace velmora
