// The gate. The tools of macOS are missing here, so an operation that passes it fails to launch
// its first tool.
#include "front/maintenance_helper_service.h"

#include <gtest/gtest.h>

#include <future>
#include <mutex>

#include "front/operation_lock.h"

namespace velmora {
namespace {

const struct {
  MaintenanceOperation operation;
  const char* firstTool;
} operations[] = {{DNSCacheFlush, "/usr/bin/dscacheutil"},
                  {SpotlightIndexRebuild, "/usr/bin/mdutil"},
                  {UserPermissionRepair, "/usr/sbin/diskutil"},
                  {SnapshotThinning, "/usr/bin/tmutil"},
                  {MemoryPurge, "/usr/sbin/purge"}};

// Whether another thread could take the lock now.
bool lockIsFree() {
  return std::async(std::launch::async,
                    [] { return std::unique_lock(operationLock(), std::try_to_lock).owns_lock(); })
      .get();
}

// The messages of all replies to one call, an absent one as "ok".
std::vector<std::string> repliesTo(const MaintenanceOperation& operation) {
  std::vector<std::string> replies;
  MaintenanceHelperService service(501);
  (service.*
   operation.method)(OperationReply([&replies](bool ok, const std::optional<std::string>& message) {
    EXPECT_EQ(ok, !message.has_value());
    EXPECT_FALSE(lockIsFree()) << "released before the reply";
    replies.push_back(message.value_or("ok"));
  }));
  return replies;
}

TEST(MaintenanceHelperService, hidesFailureOrKeepsTheLockAfterIt) {
  for (const auto& [operation, firstTool] : operations) {
    EXPECT_EQ(repliesTo(operation),
              std::vector<std::string>{"Could not launch " + std::string(firstTool) +
                                       ": No such file or directory."});
    EXPECT_TRUE(lockIsFree()) << operation.displayName;
  }
}

TEST(MaintenanceHelperService, keepsTheLockWhenTheReplyRaises) {
  int calls = 0;
  const auto raising = [&calls](bool, const std::optional<std::string>&) {
    ++calls;
    throw std::runtime_error("the connection is gone");
  };
  MaintenanceHelperService service(501);
  EXPECT_THROW(service.freeMemoryWithReply(OperationReply(raising)), std::runtime_error);
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(lockIsFree());
}

}  // namespace
}  // namespace velmora
