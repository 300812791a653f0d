#include "platform/log_message.h"

#include <gtest/gtest.h>

#include <limits>

namespace velmora {
namespace {

TEST(LogMessage, readsPlaceholdersInArgumentsOrLosesText) {
  EXPECT_EQ(logMessage("100% %s", {}), "100% %s");
  EXPECT_EQ(logMessage("%{public}s failed: %{public}s", {"purge", "%{public}s and %{public}ld"}),
            "purge failed: %{public}s and %{public}ld");
  EXPECT_EQ(logMessage("<%{public}ld> %{public}s", {std::numeric_limits<long>::min(), "x"}),
            "<-9223372036854775808> x");
  EXPECT_EQ(logMessage("%{public}s and %{public}s", {"one"}), "one and %{public}s");
  EXPECT_EQ(logMessage("no place", {"lost"}), "no place");
}

}  // namespace
}  // namespace velmora
