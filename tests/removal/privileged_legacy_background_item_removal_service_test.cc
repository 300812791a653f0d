// What no client can bring about; all else about a request is shown by end_to_end_removal.
#include "removal/privileged_legacy_background_item_removal_service.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/cancellation_error.h"
#include "temporary_folder.h"

namespace velmora {
namespace {

TEST(RemovalService, touchesItemAfterCancellation) {
  const TemporaryFolder root;
  const auto file = root.write("job.plist", "{ Label = job; }");
  const PrivilegedLegacyBackgroundItemRemovalService service{
      501, std::vector{Location{root / "", LocationKind::userAgent, ::geteuid(), "gui/501"}},
      root / "Archive", nullptr};
  const std::atomic<bool> isCancelled = true;
  EXPECT_THROW(service.removeItems({"userAgent|job"}, &isCancelled), CancellationError);
  EXPECT_TRUE(std::filesystem::exists(file));
}

}  // namespace
}  // namespace velmora
