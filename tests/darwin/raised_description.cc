#include "darwin/raised_description.h"

#include "platform/localized_error.h"

namespace velmora {

std::string raisedDescription(const std::function<void()>& call) {
  try {
    call();
    return "";
  } catch (const LocalizedError& error) {
    return error.errorDescription();
  }
}

}  // namespace velmora
