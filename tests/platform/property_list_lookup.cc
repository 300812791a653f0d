// property_list_lookup KEY FILE... looks up KEY in each FILE and prints one line per file: the
// outcome's number, a blank and the value's bytes in hexadecimal. Fails when the reading could not
// have been stopped at each mebibyte, or goes on after the first time.
#include <cstdio>
#include <fstream>
#include <string>

#include "platform/property_list.h"

namespace {

struct Stopped {};

bool isStopped(const std::string& bytes, const char* key) try {
  velmora::propertyListString(bytes, key, [] { throw Stopped(); });
  return false;
} catch (const Stopped&) {
  return true;
}

}  // namespace

int main(int argc, char* argv[]) {
  for (int index = 2; index < argc; ++index) {
    std::ifstream file(argv[index], std::ios::binary | std::ios::ate);
    if (!file) return 1;
    std::string bytes(static_cast<std::size_t>(file.tellg()), '\0');
    if (!file.seekg(0).read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) return 1;
    std::size_t checkpoints = 0;
    const auto found = velmora::propertyListString(bytes, argv[1], [&] { ++checkpoints; });
    std::printf("%d ", static_cast<int>(found.outcome));
    for (const char byte : found.value) std::printf("%02hhx", static_cast<unsigned char>(byte));
    std::puts("");
    if (checkpoints < bytes.size() >> 20) return 1;
    if (checkpoints > 0 && !isStopped(bytes, argv[1])) return 1;
  }
  return 0;
}
