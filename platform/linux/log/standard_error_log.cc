#include "platform/linux/log/standard_error_log.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <mutex>

#include "platform/portable/text/hexadecimal.h"
#include "platform/utf8.h"

namespace velmora {
namespace {

// Writes as much of `line` as standard error takes at once and returns how much that was.
std::size_t writeWithoutWaiting(std::string_view line) noexcept {
  std::size_t written = 0;
  while (written < line.size()) {
    pollfd standardError{STDERR_FILENO, POLLOUT, 0};
    if (::poll(&standardError, 1, 0) != 1 || (standardError.revents & POLLOUT) == 0) break;
    // A pipe that polls as writable takes this much without blocking: pipe(7).
    const std::size_t piece = std::min<std::size_t>(line.size() - written, PIPE_BUF);
    const ssize_t count = ::write(STDERR_FILENO, line.data() + written, piece);
    if (count <= 0) break;
    written += static_cast<std::size_t>(count);
  }
  return written;
}

}  // namespace

std::string escapingControlCharacters(std::string_view message) {
  std::string result;
  for (std::size_t at = 0; at < message.size(); ++at) {
    const char character = message[at];
    const auto byte = static_cast<unsigned char>(character);
    // U+0080 to U+009F control a terminal too; in UTF-8 they are this byte and the last one.
    const auto next = static_cast<unsigned char>(at + 1 < message.size() ? message[at + 1] : 0);
    if (byte == 0xC2 && next >= 0x80 && next < 0xA0) {
      ++at;
      result += {'\\', 'x', hexadecimalDigit(next >> 4U), hexadecimalDigit(next & 0x0FU)};
      continue;
    }
    switch (character) {
      case '\\':
        result += "\\\\";
        break;
      case '\n':
        result += "\\n";
        break;
      case '\r':
        result += "\\r";
        break;
      case '\t':
        result += "\\t";
        break;
      default:
        if (byte < 0x20 || byte == 0x7F) {
          result += {'\\', 'x', hexadecimalDigit(byte >> 4U), hexadecimalDigit(byte & 0x0FU)};
        } else {
          result += character;
        }
    }
  }
  return replacingUncarriable(result);
}

void writeToStandardError(std::string_view line) noexcept {
  static std::mutex mutex;  // one line after the other
  static bool cutShort = false;
  const std::lock_guard lock(mutex);
  if (cutShort && writeWithoutWaiting("\n") == 0) return;
  const std::size_t written = writeWithoutWaiting(line);
  cutShort = written != 0 && written < line.size();
}

}  // namespace velmora
