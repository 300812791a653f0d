#include "platform/linux/log/standard_error_log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

#include "platform/file_descriptor.h"

namespace velmora {
namespace {

TEST(StandardErrorLog, letsMessageForgeAnotherLine) {
  EXPECT_EQ(escapingControlCharacters("a\nb\rc\td\\n\x1B[2J\x7F \u00E9\u00A0\xFF\u009B\u0085\xC2"),
            "a\\nb\\rc\\td\\\\n\\x1B[2J\\x7F \u00E9\u00A0\uFFFD\\x9B\\x85\uFFFD");
}

TEST(StandardErrorLog, blocksOnFullPipeOrContinuesLineThatWasCut) {
  const FileDescriptor saved(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3));
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
  const FileDescriptor reader(ends[0]);
  const FileDescriptor writer(ends[1]);
  ::fcntl(writer.get(), F_SETPIPE_SZ, 16384);
  std::array<char, 65536> bytes{};
  const auto take = [&] {
    const ssize_t count = ::read(reader.get(), bytes.data(), bytes.size());
    return std::string(bytes.data(), static_cast<std::size_t>(count));
  };

  ::dup2(writer.get(), STDERR_FILENO);
  writeToStandardError(std::string(20000, 'x') + "\n");
  writeToStandardError("lost\n");
  const std::string cut = take();
  writeToStandardError("second\n");
  writeToStandardError("third\n");
  ::dup2(saved.get(), STDERR_FILENO);
  EXPECT_EQ(cut, std::string(cut.size(), 'x'));
  EXPECT_EQ(take(), "\nsecond\nthird\n");
}

}  // namespace
}  // namespace velmora
