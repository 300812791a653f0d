#include "darwin/raised_in.h"

#include <stdexcept>

namespace velmora {

std::string descriptionRaisedIn(const std::function<void()>& call) {
  try {
    call();
    return "";
  } catch (const LocalizedError& error) {
    return error.errorDescription();
  }
}

XPCConnectionError::Cause causeRaisedIn(const std::function<void()>& call) {
  try {
    call();
  } catch (const XPCConnectionError& error) {
    return error.cause();
  }
  throw std::logic_error("no error");
}

}  // namespace velmora
