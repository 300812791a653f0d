#include "platform/linux/xpc/admission_turns.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/xpc/accountable_users.h"
#include "temporary_folder.h"

namespace velmora {
namespace {

TEST(AdmissionTurns, letsOneUsersNewcomersCrowdOutAnothers) {
  AdmissionTurns turns;
  std::string order;
  std::vector<std::thread> newcomers;
  {
    const AdmissionTurns::Turn turn = turns.wait(0);
    for (const char user : std::string("aaaabaacb")) {
      const std::size_t before = turns.waiting();
      newcomers.emplace_back([&turns, &order, user] {
        const AdmissionTurns::Turn own = turns.wait(static_cast<uid_t>(user));
        order += user;
      });
      while (turns.waiting() == before) std::this_thread::yield();
    }
  }
  for (std::thread& newcomer : newcomers) newcomer.join();
  EXPECT_EQ(order, "abcabaaaa");
  const AdmissionTurns::Turn free = turns.wait(0);
}

TEST(AccountableUsers, takesSubordinateIdentifiersForUsersOfTheirOwn) {
  const TemporaryFolder folder;
  AccountableUsers users(folder / "subuid");
  EXPECT_EQ(users.accountableFor(100000), 100000U) << "without a file";
  folder.write("subuid",
               "root:100000:10\n501:100005:65536\nnobody-knows:300000:2\n\nx\n501:a:1\n501:1:\n"
               "501:400000:-1\n501:4294967295:4294967295\n501:500000:1");
  const std::pair<uid_t, uid_t> expected[] = {
      {0, 0},           {501, 501},        {1, 1},           {100009, 0},
      {100010, 501},    {165540, 501},     {165541, 165541}, {300001, 300000},
      {400000, 400000}, {4294967295, 501}, {500000, 501}};
  for (const auto& [user, owner] : expected) EXPECT_EQ(users.accountableFor(user), owner);
  folder.write("subuid", std::string(2 << 20, '\n') + "501:100000:1\n");
  EXPECT_EQ(users.accountableFor(100000), 100000U) << "too large a file";
}

}  // namespace
}  // namespace velmora
