// What no client can bring about; all else about a request is shown by end_to_end_removal.
#include "removal/privileged_legacy_background_item_removal_service.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/cancellation_error.h"
#include "temporary_folder.h"

namespace velmora {
namespace {

// A launchctl during whose first run the request is cancelled.
class CancellingLaunchctl final : public HelperCommandRunning {
 public:
  HelperCommandResult run(const std::string& /*executablePath*/,
                          const std::vector<std::string>& /*arguments*/,
                          double /*timeoutSeconds*/) const override {
    cancellation.request_stop();
    return {0, true, ""};
  }

  mutable std::stop_source cancellation;
};

TEST(RemovalService, leavesItemHalfRemovedOrBeginsAnotherAfterCancellation) {
  const TemporaryFolder root;
  const auto first = root.write("first.plist", "{ Label = first; }");
  const auto second = root.write("second.plist", "{ Label = second; }");
  const auto launchctl = std::make_shared<CancellingLaunchctl>();
  const PrivilegedLegacyBackgroundItemRemovalService service{
      501, std::vector{Location{root / "", LocationKind::userAgent, ::geteuid(), "gui/501"}},
      root / "Archive", launchctl};
  EXPECT_THROW(service.removeItems({"userAgent|first", "userAgent|second"},
                                   launchctl->cancellation.get_token()),
               CancellationError);
  EXPECT_FALSE(std::filesystem::exists(first));
  EXPECT_TRUE(std::filesystem::exists(second));
}

}  // namespace
}  // namespace velmora
