// The gate, seen from inside the reply, in the stage: with its tools an operation can succeed.
#include "front/maintenance_helper_service.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
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

Data dataOf(std::string_view text) {
  const auto* bytes = reinterpret_cast<const std::byte*>(text.data());
  return {bytes, bytes + text.size()};
}

TEST(MaintenanceHelperService, freesTheLockBeforeTheReplyOrKeepsItAfterOneThatRaises) {
  MaintenanceHelperService service(501);
  std::string answers;
  bool raises = false;
  const auto onReply = [&](bool ok, const std::optional<std::string>& message) {
    EXPECT_FALSE(lockIsFree());
    answers += ok ? "done, " : message.value_or("no message") + ", ";
    if (raises) throw std::runtime_error("the connection is gone");
  };
  const auto remove = [&](std::string_view request) {
    service.removeLegacyBackgroundItems(
        dataOf(request), RemovalReply([&](bool ok, const std::optional<Data>& /*response*/,
                                          const auto& message) { onReply(ok, message); }));
  };
  const std::function<void()> calls[] = {
      [&] { service.freeMemoryWithReply(OperationReply(onReply)); },
      [&] {
        std::filesystem::remove("/usr/sbin/purge");
        service.freeMemoryWithReply(OperationReply(onReply));
      },
      [&] { remove(R"(["userAgent|org.example.updater"])"); },
      [&] { remove("[]"); },
  };
  for (const auto& call : calls) {
    EXPECT_NO_THROW(call());
    EXPECT_TRUE(lockIsFree());
  }
  EXPECT_EQ(answers,
            "done, Could not launch /usr/sbin/purge: No such file or directory., "
            "done, The background-item request was invalid., ");
  raises = true;
  for (const auto& call : {calls[3], calls[1]}) {
    EXPECT_ANY_THROW(call());
    EXPECT_TRUE(lockIsFree());
  }
}

}  // namespace
}  // namespace velmora
