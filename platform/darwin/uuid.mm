#include "platform/uuid.h"

#include "platform/darwin/foundation_text.h"

namespace velmora {

std::string uuidString() {
  @autoreleasepool {
    return utf8Text([[NSUUID UUID] UUIDString]);
  }
}

}  // namespace velmora
