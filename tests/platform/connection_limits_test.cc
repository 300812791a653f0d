#include "platform/linux/xpc/connection_limits.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace velmora {
namespace {

using Places = std::vector<ConnectionLimits::Place>;

// Takes places for `user` until there are no more, but not for ever, and returns them.
Places takeAll(ConnectionLimits& limits, uid_t user) {
  Places places;
  while (places.size() <= ConnectionLimits::maximumInAll) {
    auto place = limits.take(user);
    if (!place) break;
    places.push_back(*std::move(place));
  }
  return places;
}

TEST(ConnectionLimits, letsUserCrowdOutOthersOrLosesPlaces) {
  ConnectionLimits limits;
  std::vector<Places> users;
  for (uid_t user = 0; user < 18; ++user) users.push_back(takeAll(limits, user));
  for (std::size_t user = 0; user < 2; ++user) EXPECT_EQ(users[user].size(), 128U);
  EXPECT_EQ(users[2].size(), 104U) << "three quarters of all are taken";
  for (std::size_t user = 3; user < 18; ++user) EXPECT_EQ(users[user].size(), 8U) << "the few";
  EXPECT_TRUE(takeAll(limits, 18).empty()) << "there are 480 in all";

  users[1].pop_back();
  EXPECT_FALSE(limits.take(0).has_value()) << "another user's place";
  EXPECT_EQ(takeAll(limits, 18).size(), 1U);
  users.clear();
  EXPECT_EQ(takeAll(limits, 0).size(), 128U);
}

}  // namespace
}  // namespace velmora
