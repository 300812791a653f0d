#include "platform/log_reading.h"

namespace velmora {

// Of the programs that have no entitlement for it from Apple, the system's own tool alone may read
// what others have logged.
std::optional<std::vector<std::string>> recentLogEntries(const std::string& /*subsystem*/,
                                                         std::size_t /*maximumEntries*/) {
  return std::nullopt;
}

std::string logReadingCommand(const std::string& subsystem) {
  return "log show --last 1h --predicate 'subsystem == \"" + subsystem + "\"'";
}

}  // namespace velmora
