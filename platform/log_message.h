// The text of a log entry from its format and arguments.
#pragma once

#include <string>
#include <string_view>

#include "platform/logger.h"

namespace velmora {

// `format` with each "%{public}s" and "%{public}ld" replaced by the next argument's text.
// A placeholder without an argument stays as it is.
std::string logMessage(std::string_view format, Logger::Arguments arguments);

}  // namespace velmora
