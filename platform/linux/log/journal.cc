#include "platform/linux/log/journal.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/file_descriptor.h"

namespace velmora {
namespace {

// Connected to the journal, or none where no journal listens. Each entry knocks anew, because a
// journal may come and go while the helper runs.
FileDescriptor openJournal() {
  FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const sockaddr_un address{AF_UNIX, "/run/systemd/journal/socket"};
  if (socket.isOpen() &&
      ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    socket.reset();
  }
  return socket;
}

// One line, or, for a value of several: name, length in 64 bits with the lowest byte first, value.
// https://systemd.io/JOURNAL_NATIVE_PROTOCOL/
void appendField(std::string& entry, std::string_view name, std::string_view value) {
  entry += name;
  if (value.find('\n') == std::string_view::npos) {
    entry += '=';
  } else {
    entry += '\n';
    for (unsigned byte = 0; byte < 8; ++byte) {
      entry += static_cast<char>(std::uint64_t{value.size()} >> (8 * byte) & 0xFF);
    }
  }
  entry += value;
  entry += '\n';
}

}  // namespace

bool sendToJournal(int priority, std::string_view subsystem, std::string_view category,
                   std::string_view message) {
  const FileDescriptor journal = openJournal();
  if (!journal.isOpen()) return false;
  std::string entry;
  appendField(entry, "MESSAGE", message);
  appendField(entry, "PRIORITY", std::to_string(priority));
  appendField(entry, "SUBSYSTEM", subsystem);
  appendField(entry, "CATEGORY", category);
  // The library's own call waits for a journal that does not read, for ever.
  const ssize_t sent =
      ::send(journal.get(), entry.data(), entry.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  return sent == static_cast<ssize_t>(entry.size());
}

}  // namespace velmora
