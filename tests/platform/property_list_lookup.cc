// Looks up KEY in each FILE and prints one line per file: the outcome's number, a blank and the
// value, its control characters and backslashes as \xHH.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/property_list.h"

namespace {

std::string escaped(const std::string& text) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string result;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= 0x20 && character != '\\') {
      result += character;
    } else {
      result += {'\\', 'x', digits[byte >> 4], digits[byte & 0xF]};
    }
  }
  return result;
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc < 3) {
    (void)std::fputs("usage: property_list_lookup KEY FILE...\n", stderr);
    return 2;
  }
  for (int index = 2; index < argc; ++index) {
    std::ifstream file(argv[index], std::ios::binary);
    if (!file) return 1;
    std::string bytes(std::filesystem::file_size(argv[index]), '\0');
    if (!file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) return 1;
    const velmora::PropertyListString found = velmora::propertyListString(bytes, argv[1]);
    std::printf("%d %s\n", static_cast<int>(found.outcome), escaped(found.value).c_str());
  }
  return 0;
}
