// What else becomes of a record is shown by end_to_end_client_tool, which restores from it.
#include "removal/archive_metadata.h"

#include <gtest/gtest.h>

#include "platform/json.h"

namespace velmora {
namespace {

TEST(ArchiveMetadata, losesWholeSecondsOrTakesRecordWithoutAMember) {
  const std::string json =
      encodeArchiveMetadata({"job", "userAgent|job", "/job.plist", 4294967295, 817248674.0});
  EXPECT_EQ(decodeArchiveMetadata("{\"more\":[]," + json.substr(1)).removedAt, 817248674.0);
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
