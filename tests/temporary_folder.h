// A folder for the files of one test, removed with everything in it.
#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

namespace velmora {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = "/tmp/velmora-test-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), "mkdtemp");
    }
    path_ = std::filesystem::canonical(pattern);  // where /tmp is a link, walks without links fail
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  std::string operator/(std::string_view name) const { return (path_ / name).string(); }

  // Makes a file and returns its path.
  std::string write(std::string_view name, std::string_view bytes) const {
    std::ofstream(path_ / name, std::ios::binary) << bytes;
    return *this / name;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace velmora
