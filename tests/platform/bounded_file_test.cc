#include "platform/linux/bounded_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "temporary_folder.h"

namespace velmora {
namespace {

TEST(BoundedFile, readsFileItMustNotOrBlocksOnPipe) {
  const TemporaryFolder folder;
  const std::string bytes("two\0\n", 5);
  const std::string path = folder.write("file", bytes);
  EXPECT_EQ(readBoundedFile(path, 5), bytes);
  EXPECT_EQ(readBoundedFile(path, 4), std::nullopt);
  EXPECT_EQ(readBoundedFile(folder.write("empty", ""), 0), "");
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0666), 0);
  for (const std::string& other :
       {folder / "pipe", folder / "missing", folder / "", std::string("/dev/zero")}) {
    EXPECT_EQ(readBoundedFile(other, 5), std::nullopt) << other;
  }
}

}  // namespace
}  // namespace velmora
