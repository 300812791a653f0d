#include "darwin/raised_description.h"

#include "platform/xpc.h"

namespace velmora {

std::string raisedDescription(const std::function<void()>& call) {
  try {
    call();
    return "";
  } catch (const XPCConnectionError& error) {
    return error.errorDescription();
  }
}

}  // namespace velmora
