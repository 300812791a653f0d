#include "platform/linux/standard_error_log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

#include "platform/file_descriptor.h"

namespace velmora {
namespace {

TEST(StandardErrorLog, letsMessageForgeAnotherLine) {
  EXPECT_EQ(escapingControlCharacters(std::string("a\nb\rc\td\\n\x1B[2J\x7F\0\x01", 16)),
            "a\\nb\\rc\\td\\\\n\\x1B[2J\\x7F\\x00\\x01");
  EXPECT_EQ(escapingControlCharacters("\u00E9\u00A0 \xFF\u009B\u0085\xC2"),
            "\u00E9\u00A0 \uFFFD\\x9B\\x85\uFFFD");
}

// A small pipe in the place of standard error while it lives.
class StandardErrorPipe {
 public:
  StandardErrorPipe() : saved_(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) ADD_FAILURE() << "no pipe";
    reader_.reset(ends[0]);
    const FileDescriptor writer(ends[1]);
    ::fcntl(writer.get(), F_SETPIPE_SZ, 16384);
    ::fcntl(reader_.get(), F_SETFL, O_NONBLOCK);
    ::dup2(writer.get(), STDERR_FILENO);
  }
  StandardErrorPipe(const StandardErrorPipe&) = delete;
  StandardErrorPipe& operator=(const StandardErrorPipe&) = delete;
  ~StandardErrorPipe() { ::dup2(saved_.get(), STDERR_FILENO); }

  // Everything that has been written so far.
  std::string take() const {
    std::array<char, 65536> bytes{};
    const ssize_t count = ::read(reader_.get(), bytes.data(), bytes.size());
    return count > 0 ? std::string(bytes.data(), static_cast<std::size_t>(count)) : std::string();
  }

 private:
  FileDescriptor saved_;
  FileDescriptor reader_;
};

TEST(StandardErrorLog, blocksOnFullPipeOrContinuesLineThatWasCut) {
  const std::string longLine = std::string(20000, 'x') + "\n";
  const StandardErrorPipe standardError;
  writeToStandardError("first\n");
  EXPECT_EQ(standardError.take(), "first\n");
  writeToStandardError(longLine);
  writeToStandardError("lost\n");
  const std::string cut = standardError.take();
  EXPECT_EQ(cut, longLine.substr(0, cut.size()));
  EXPECT_LT(cut.size(), longLine.size());
  writeToStandardError("second\n");
  writeToStandardError("third\n");
  EXPECT_EQ(standardError.take(), "\nsecond\nthird\n");
}

}  // namespace
}  // namespace velmora
