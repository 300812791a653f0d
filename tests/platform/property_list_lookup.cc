// property_list_lookup KEY FILE... looks up KEY in each FILE and prints one line per file: the
// outcome's number, a blank and the value's bytes in hexadecimal.
#include <cstdio>
#include <fstream>
#include <string>

#include "platform/property_list.h"

int main(int argc, char* argv[]) {
  for (int index = 2; index < argc; ++index) {
    std::ifstream file(argv[index], std::ios::binary | std::ios::ate);
    if (!file) return 1;
    std::string bytes(static_cast<std::size_t>(file.tellg()), '\0');
    if (!file.seekg(0).read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) return 1;
    const velmora::PropertyListString found = velmora::propertyListString(bytes, argv[1], nullptr);
    std::printf("%d ", static_cast<int>(found.outcome));
    for (const char byte : found.value) std::printf("%02hhx", static_cast<unsigned char>(byte));
    std::puts("");
  }
  return 0;
}
