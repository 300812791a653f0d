#include "platform/linux/code_signing/bounded_file.h"

#include <gtest/gtest.h>

#include "temporary_folder.h"

namespace velmora {
namespace {

TEST(BoundedFile, readsMoreThanItMay) {
  const TemporaryFolder folder;
  const std::string path = folder.write("file", "12345");
  EXPECT_EQ(readBoundedFile(path, 5), "12345");
  EXPECT_EQ(readBoundedFile(path, 4), std::nullopt);
}

}  // namespace
}  // namespace velmora
