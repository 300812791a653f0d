#include "platform/linux/journal.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-journal.h>

#include <array>
#include <string>

#include "platform/file_descriptor.h"

namespace velmora {
namespace {

// sd_journal_sendv reports success without a journal, so the socket is knocked at first: each
// time, because a journal may come and go while the helper runs.
bool journalListens() {
  const FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket.isOpen()) return false;
  const sockaddr_un address{AF_UNIX, "/run/systemd/journal/socket"};
  return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

iovec fieldOf(std::string& text) {
  return {text.data(), text.size()};
}

}  // namespace

bool sendToJournal(int priority, std::string_view subsystem, std::string_view category,
                   std::string_view message) {
  if (!journalListens()) return false;
  std::array fields = {"MESSAGE=" + std::string(message), "PRIORITY=" + std::to_string(priority),
                       "SUBSYSTEM=" + std::string(subsystem), "CATEGORY=" + std::string(category)};
  const std::array vectors = {fieldOf(fields[0]), fieldOf(fields[1]), fieldOf(fields[2]),
                              fieldOf(fields[3])};
  return ::sd_journal_sendv(vectors.data(), static_cast<int>(vectors.size())) == 0;
}

}  // namespace velmora
