#include "platform/logger.h"

#include <os/log.h>

#include <utility>

#include "platform/log_message.h"
#include "platform/portable/contained.h"
#include "platform/utf8.h"

namespace velmora {
namespace {

// The entry is finished here and logged as one public text, so that none of it is ever hidden as
// private. The system keeps one log object for each subsystem and category.
void write(os_log_type_t type, const std::string& subsystem, const std::string& category,
           std::string_view format, Logger::Arguments arguments) noexcept {
  contained([&] {
    const std::string message = replacingUncarriable(logMessage(format, arguments));
    os_log_t log = os_log_create(subsystem.c_str(), category.c_str());
    os_log_with_type(log, type, "%{public}s", message.c_str());
  });
}

}  // namespace

Logger::Logger(std::string subsystem, std::string category)
    : subsystem_(std::move(subsystem)), category_(std::move(category)) {}

void Logger::log(std::string_view format, Arguments arguments) const noexcept {
  write(OS_LOG_TYPE_DEFAULT, subsystem_, category_, format, arguments);
}

void Logger::error(std::string_view format, Arguments arguments) const noexcept {
  write(OS_LOG_TYPE_ERROR, subsystem_, category_, format, arguments);
}

}  // namespace velmora
