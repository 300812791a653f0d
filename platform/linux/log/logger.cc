#include "platform/logger.h"

#include <syslog.h>

#include <utility>

#include "platform/linux/log/journal.h"
#include "platform/linux/log/standard_error_log.h"
#include "platform/log_message.h"

namespace velmora {
namespace {

void write(int priority, std::string_view subsystem, std::string_view category,
           std::string_view format, Logger::Arguments arguments) noexcept {
  try {
    const std::string message = logMessage(format, arguments);
    if (sendToJournal(priority, subsystem, category, message)) return;
    const char* level = priority == LOG_ERR ? "error" : "default";
    writeToStandardError(std::string(subsystem) + " [" + std::string(category) + "] " + level +
                         ": " + escapingControlCharacters(message) + "\n");
  } catch (...) {
    // Out of memory: the entry is lost, the call that wanted it goes on.
  }
}

}  // namespace

Logger::Logger(std::string subsystem, std::string category)
    : subsystem_(std::move(subsystem)), category_(std::move(category)) {}

void Logger::log(std::string_view format, Arguments arguments) const noexcept {
  write(LOG_NOTICE, subsystem_, category_, format, arguments);
}

void Logger::error(std::string_view format, Arguments arguments) const noexcept {
  write(LOG_ERR, subsystem_, category_, format, arguments);
}

}  // namespace velmora
