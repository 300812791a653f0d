// The gate. The tools of macOS are missing here, so an operation that passes it fails to launch
// its first tool.
#include "front/maintenance_helper_service.h"

#include <gtest/gtest.h>

#include <future>
#include <mutex>

#include "front/operation_lock.h"

namespace velmora {
namespace {

// Whether another thread could take the lock now.
bool lockIsFree() {
  return std::async(std::launch::async,
                    [] { return std::unique_lock(operationLock(), std::try_to_lock).owns_lock(); })
      .get();
}

TEST(MaintenanceHelperService, freesTheLockBeforeTheReplyOrKeepsItAfterOneThatRaises) {
  for (const bool raises : {false, true}) {
    std::vector<std::string> messages;
    const auto reply = [&](bool ok, const std::optional<std::string>& message) {
      EXPECT_FALSE(ok || lockIsFree());
      messages.push_back(message.value_or("none"));
      if (raises) throw std::runtime_error("the connection is gone");
    };
    try {
      MaintenanceHelperService(501).freeMemoryWithReply(OperationReply(reply));
    } catch (const std::runtime_error&) {
      EXPECT_TRUE(raises);
    }
    EXPECT_EQ(messages, std::vector<std::string>{
                            "Could not launch /usr/sbin/purge: No such file or directory."});
    EXPECT_TRUE(lockIsFree());
  }
}

}  // namespace
}  // namespace velmora
