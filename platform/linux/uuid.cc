#include "platform/uuid.h"

#include <sys/random.h>

#include <array>
#include <cerrno>
#include <cstddef>

#include "platform/platform_error.h"
#include "platform/portable/text/hexadecimal.h"

namespace velmora {

std::string uuidString() {
  std::array<unsigned char, 16> bytes{};
  // A request this small is answered whole, or not at all.
  while (::getrandom(bytes.data(), bytes.size(), 0) < 0) {
    if (errno != EINTR) throw PlatformError("read", "random bytes", errno);
  }
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);  // variant of RFC 9562

  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += hexadecimalDigit(bytes[i] >> 4U);
    text += hexadecimalDigit(bytes[i] & 0x0FU);
  }
  return text;
}

}  // namespace velmora
