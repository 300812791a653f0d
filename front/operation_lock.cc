#include "front/operation_lock.h"

namespace velmora {

std::mutex& operationLock() {
  static auto& lock = *new std::mutex;
  return lock;
}

}  // namespace velmora
