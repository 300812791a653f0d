// With a user database of the test's own, linked in the place of the C library's.
#include "removal/location.h"

#include <gtest/gtest.h>
#include <pwd.h>

#include <cerrno>
#include <functional>

#include "raised.h"
#include "removal/legacy_background_item_removal_error.h"

namespace {

std::function<int(passwd*, std::size_t, passwd**)> answer;

}  // namespace

extern "C" int getpwuid_r(uid_t /*user*/, passwd* record, char* /*storage*/, std::size_t size,
                          passwd** result) {
  *result = nullptr;
  return answer(record, size, result);
}

namespace velmora {
namespace {

void setHome(const char* home) {
  answer = [home](passwd* record, std::size_t, passwd** result) {
    record->pw_dir = const_cast<char*>(home);
    *result = record;
    return 0;
  };
}

TEST(Location, namesAnotherFolderOwnerOrDomain) {
  setHome("/Users/alice");
  const std::vector<Location> locations = defaultLocations(501);
  ASSERT_EQ(locations.size(), 3U);
  const Location expected[] = {
      {"/Users/alice/Library/LaunchAgents", LocationKind::userAgent, 501, "gui/501"},
      {"/Library/LaunchAgents", LocationKind::sharedAgent, 0, "gui/501"},
      {"/Library/LaunchDaemons", LocationKind::systemDaemon, 0, "system"},
  };
  for (std::size_t i = 0; i < locations.size(); ++i) {
    EXPECT_EQ(locations[i].directory.string(), expected[i].directory.string());
    EXPECT_EQ(locations[i].kind, expected[i].kind);
    EXPECT_EQ(locations[i].expectedOwner, expected[i].expectedOwner);
    EXPECT_EQ(locations[i].launchDomain, expected[i].launchDomain);
  }
  EXPECT_EQ(defaultLocations(4294967294U)[1].launchDomain, "gui/4294967294");
}

TEST(Location, takesHomeAsItIsWritten) {
  for (const char* home : {"/Users/alice/", "/Users/./alice", "//Users//alice//", "Users/alice",
                           "/Users/bob/../alice/."}) {
    setHome(home);
    EXPECT_EQ(defaultLocations(501)[0].directory.string(), "/Users/alice/Library/LaunchAgents")
        << home;
  }
  setHome("");
  EXPECT_EQ(defaultLocations(0)[0].directory.string(), "/Library/LaunchAgents");
}

TEST(Location, goesOnWithoutUserOrWaitsForEverForOne) {
  const std::function<int(passwd*, std::size_t, passwd**)> answers[] = {
      [](passwd*, std::size_t, passwd**) { return 0; },
      [](passwd*, std::size_t, passwd**) { return EIO; },
      [](passwd*, std::size_t, passwd**) { return ERANGE; },
      [](passwd*, std::size_t, passwd**) { return EINTR; },
      [](passwd* record, std::size_t, passwd** result) {
        record->pw_dir = nullptr;
        *result = record;
        return 0;
      }};
  for (const auto& one : answers) {
    answer = one;
    const auto error = raised<LegacyBackgroundItemRemovalError>([] { defaultLocations(501); });
    EXPECT_EQ(error.kind(), LegacyBackgroundItemRemovalError::Case::userUnavailable);
  }

  answer = [](passwd* record, std::size_t size, passwd** result) {
    static std::string home = "/long/" + std::string(100000, 'x');
    if (size < home.size()) return ERANGE;
    record->pw_dir = home.data();
    *result = record;
    return 0;
  };
  EXPECT_GT(defaultLocations(501)[0].directory.string().size(), 100000U);
}

}  // namespace
}  // namespace velmora
