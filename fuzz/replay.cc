// Stands in for the fuzzing engine where there is none: feeds a fuzzer every file of the FOLDERs,
// so that its seeds are tests of every preset. A finding aborts, as it does when fuzzing.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char* argv[]) {
  int count = 0;
  for (const char* const folder : std::vector<const char*>(argv + 1, argv + argc)) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      (void)std::fprintf(stderr, "%s\n", entry.path().c_str());
      std::ifstream file(entry.path(), std::ios::binary);
      const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
      (void)LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                   bytes.size());
      ++count;
    }
  }
  return count > 0 ? 0 : 1;
}
