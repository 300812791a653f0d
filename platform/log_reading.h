// Reading the system log, for people. Any thread may call.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace velmora {

// The texts of the last entries of `subsystem`, at most `maximumEntries`, the oldest first; nothing
// when this process may not read the log, or there is none.
std::optional<std::vector<std::string>> recentLogEntries(const std::string& subsystem,
                                                         std::size_t maximumEntries);

// The shell command with which a person reads the entries of `subsystem`.
std::string logReadingCommand(const std::string& subsystem);

}  // namespace velmora
