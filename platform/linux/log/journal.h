// Entries for the system journal.
#pragma once

#include <string_view>

namespace velmora {

// Sends one entry with the fields MESSAGE, PRIORITY (syslog(3)), SUBSYSTEM and CATEGORY, each
// unchanged whatever bytes it holds. Never waits: returns false, and sends nothing, when no journal
// listens, or it does not read, or the entry is larger than a datagram.
bool sendToJournal(int priority, std::string_view subsystem, std::string_view category,
                   std::string_view message);

}  // namespace velmora
