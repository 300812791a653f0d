#include "front/failure.h"

#include <new>

#include "platform/localized_error.h"

namespace velmora {
namespace {

// Short enough to be held without memory of its own.
constexpr const char* outOfMemoryMessage = "Out of memory.";

std::string currentFailure() {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return outOfMemoryMessage;
  } catch (const std::exception& error) {
    return localizedDescription(error);
  } catch (...) {
    return "The maintenance operation failed for an unknown reason.";
  }
}

}  // namespace

std::optional<std::string> failureOf(const std::function<void()>& routine) {
  try {
    routine();
    return std::nullopt;
  } catch (...) {
    try {
      return currentFailure();
    } catch (const std::bad_alloc&) {
      return outOfMemoryMessage;
    }
  }
}

}  // namespace velmora
