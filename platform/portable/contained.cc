#include "platform/portable/contained.h"

namespace velmora {

bool containedCall(void (*function)(void* context), void* context) noexcept {
  try {
    function(context);
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace velmora
