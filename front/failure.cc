#include "front/failure.h"

#include "platform/localized_error.h"

namespace velmora {

std::optional<std::string> failureOf(const std::function<void()>& routine) {
  try {
    routine();
    return std::nullopt;
  } catch (const std::exception& error) {
    return localizedDescription(error);
  } catch (...) {
    return "The maintenance operation failed for an unknown reason.";
  }
}

}  // namespace velmora
