#include "platform/platform_error.h"

#include <system_error>
#include <utility>

namespace velmora {

PlatformError::PlatformError(std::string operation, std::string subject, int code)
    : PlatformError(std::move(operation), std::move(subject),
                    std::generic_category().message(code)) {
  code_ = code;
}

PlatformError::PlatformError(std::string operation, std::string subject, std::string reason)
    : code_(0),
      description_("Could not " + std::move(operation) + " " + std::move(subject) + ": " +
                   std::move(reason) + ".") {}

}  // namespace velmora
