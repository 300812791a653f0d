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
const std::vector<std::string> arguments = {"-E", "/"};

class RecordingRunner final : public HelperCommandRunning {
 public:
  HelperCommandResult run(const std::string& executablePath, const std::vector<std::string>& words,
                          double timeoutSeconds) const override {
    EXPECT_EQ(executablePath, "/usr/bin/mdutil");
    EXPECT_EQ(words, arguments);
    timeouts.push_back(timeoutSeconds);
    return {7, true, "said"};
  }

  mutable std::vector<double> timeouts;
};

TEST(HelperCommandRunning, startsNothingWhenNoTimeIsLeft) {
  const RecordingRunner runner;
  for (const double deadline : {systemUptime(), systemUptime() - 1, 0.0, -infinity, std::nan("")}) {
    const auto late = [&] {
      (void)runner.runBeforeDeadline("/usr/bin/mdutil", arguments, deadline);
    };
    EXPECT_EQ(raised<HelperCommandError>(late).errorDescription(),
              "mdutil did not finish in time, so the maintenance helper stopped it.");
  }
  EXPECT_TRUE(runner.timeouts.empty());
}

TEST(HelperCommandRunning, givesToolNeitherMoreNorLessThanTheTimeLeft) {
  const RecordingRunner runner;
  const double deadline = systemUptime() + 100;
  EXPECT_EQ(runner.runBeforeDeadline("/usr/bin/mdutil", arguments, deadline).diagnostic, "said");
  (void)runner.runBeforeDeadline("/usr/bin/mdutil", arguments, infinity);
  ASSERT_EQ(runner.timeouts.size(), 2U);
  EXPECT_NEAR(runner.timeouts[0], 100, 10);
  EXPECT_LE(runner.timeouts[0], 100);
  EXPECT_EQ(runner.timeouts[1], infinity);
}

}  // namespace
}  // namespace velmora
