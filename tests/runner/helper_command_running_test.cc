#include "runner/helper_command_running.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "platform/process_info.h"
#include "raised.h"
#include "runner/helper_command_error.h"

namespace velmora {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

class RecordingRunner final : public HelperCommandRunning {
 public:
  HelperCommandResult run(const std::string& executablePath,
                          const std::vector<std::string>& arguments,
                          double timeoutSeconds) const override {
    EXPECT_EQ(executablePath, "/usr/bin/mdutil");
    EXPECT_EQ(arguments, (std::vector<std::string>{"-E", "/"}));
    timeouts.push_back(timeoutSeconds);
    return {7, true, "said"};
  }

  mutable std::vector<double> timeouts;
};

TEST(HelperCommandRunning, startsNothingWhenNoTimeIsLeft) {
  const RecordingRunner runner;
  for (const double deadline : {systemUptime(), systemUptime() - 1, 0.0, -infinity, std::nan("")}) {
    const auto error = raised<HelperCommandError>([&] {
      (void)runner.runBeforeDeadline("/usr/bin/mdutil", {"-E", "/"}, deadline);
    });
    EXPECT_EQ(error.errorDescription(),
              "mdutil did not finish in time, so the maintenance helper stopped it.");
  }
  EXPECT_TRUE(runner.timeouts.empty());
}

TEST(HelperCommandRunning, givesToolNeitherMoreNorLessThanTheTimeLeft) {
  const RecordingRunner runner;
  const auto result =
      runner.runBeforeDeadline("/usr/bin/mdutil", {"-E", "/"}, systemUptime() + 100);
  EXPECT_EQ(result.status, 7);
  EXPECT_EQ(result.diagnostic, "said");
  (void)runner.runBeforeDeadline("/usr/bin/mdutil", {"-E", "/"}, infinity);
  ASSERT_EQ(runner.timeouts.size(), 2U);
  EXPECT_NEAR(runner.timeouts[0], 100, 10);
  EXPECT_LE(runner.timeouts[0], 100);
  EXPECT_EQ(runner.timeouts[1], infinity);
}

}  // namespace
}  // namespace velmora
