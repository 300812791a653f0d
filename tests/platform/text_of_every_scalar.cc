// text_of_every_scalar prints a line for each Unicode scalar value: 1 if it is alphanumeric, 1 if
// it is trimmed, its lower case and its canonical form, the last two as hexadecimal UTF-8.
#include <cstdio>
#include <string>

#include "platform/text.h"
#include "platform/utf8.h"

namespace {

void print(const std::string& text, char end) {
  for (const char byte : text) std::printf("%02hhx", static_cast<unsigned char>(byte));
  std::putchar(end);
}

}  // namespace

int main() {
  for (char32_t scalar = 0; scalar <= 0x10FFFF; ++scalar) {
    if (!velmora::isScalar(scalar)) continue;
    std::string text;
    velmora::appendScalar(text, scalar);
    std::printf("%d %d ", velmora::isAlphanumericExcept(text, ""),
                velmora::trimWhitespaceAndNewlines(text).empty());
    print(velmora::lowercased(text), ' ');
    print(velmora::canonicalForm(text), '\n');
  }
  return 0;
}
