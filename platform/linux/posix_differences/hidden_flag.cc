#include "platform/posix/differences/hidden_flag.h"

namespace velmora {

bool isMarkedHidden(const FileDescriptor& /*directory*/, const char* /*name*/) {
  return false;
}

}  // namespace velmora
