// With a user database of the test's own, linked in the place of the C library's.
#include "removal/location.h"

#include <gtest/gtest.h>
#include <pwd.h>

#include <cerrno>
#include <functional>
#include <tuple>

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
  using Row = std::tuple<std::string, LocationKind, uid_t, std::string>;
  std::vector<Row> rows;
  for (const Location& each : defaultLocations(501)) {
    rows.emplace_back(each.directory, each.kind, each.expectedOwner, each.launchDomain);
  }
  EXPECT_EQ(rows,
            (std::vector<Row>{
                {"/Users/alice/Library/LaunchAgents", LocationKind::userAgent, 501, "gui/501"},
                {"/Library/LaunchAgents", LocationKind::sharedAgent, 0, "gui/501"},
                {"/Library/LaunchDaemons", LocationKind::systemDaemon, 0, "system"}}));
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
  for (const int code : {0, EIO, ERANGE, EINTR, -1}) {
    setHome(nullptr);
    if (code >= 0) answer = [code](passwd*, std::size_t, passwd**) { return code; };
    const auto error = raised<LegacyBackgroundItemRemovalError>([] { defaultLocations(501); });
    EXPECT_EQ(error.errorDescription(),
              "The signed-in user\xE2\x80\x99s home directory could not be resolved safely.");
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
