#include "removal/archive_metadata.h"

#include <gtest/gtest.h>

#include "platform/json.h"

namespace velmora {
namespace {

TEST(ArchiveMetadata, doesNotReadBackWhatItHasWritten) {
  std::string json;
  for (const double removedAt : {817248674.68037987, 817248674.0}) {
    const ArchiveMetadata written{"j\u00F6b", "userAgent|j\u00F6b", "/a/j\u00F6b.plist", 4294967295,
                                  removedAt};
    json = encodeArchiveMetadata(written);
    const ArchiveMetadata read = decodeArchiveMetadata("{\"more\":[]," + json.substr(1));
    EXPECT_EQ(read.label, written.label);
    EXPECT_EQ(read.token, written.token);
    EXPECT_EQ(read.originalPath, written.originalPath);
    EXPECT_EQ(read.clientUserIdentifier, written.clientUserIdentifier);
    EXPECT_EQ(read.removedAt, written.removedAt);
  }
  std::string incomplete = json;
  incomplete.replace(json.find("token"), 5, "taken");
  std::string mistyped = json;
  mistyped.replace(json.find("4294967295"), 10, "4294967296");
  for (const std::string& other : {incomplete, mistyped}) {
    EXPECT_THROW((void)decodeArchiveMetadata(other), JSONError) << other;
  }
}

}  // namespace
}  // namespace velmora
