#include "removal/removal_request.h"

#include <gtest/gtest.h>

#include "raised.h"
#include "removal/launchd_label.h"
#include "removal/legacy_background_item_removal_error.h"

namespace velmora {
namespace {

using namespace std::string_literals;
using Error = LegacyBackgroundItemRemovalError;

bool isRefused(const std::vector<std::string>& entries) {
  try {
    (void)validateRequest(entries);
    return false;
  } catch (const Error& error) {
    EXPECT_EQ(error.errorDescription(), "The background-item request was invalid.");
    return true;
  }
}

TEST(RemovalRequest, splitsEntriesInTheWrongPlace) {
  const std::pair<const char*, RemovalRequest> cases[] = {
      {"userAgent|org.example.job", {LocationKind::userAgent, "org.example.job"}},
      {"sharedAgent|a", {LocationKind::sharedAgent, "a"}},
      {"systemDaemon|com.applex.foo", {LocationKind::systemDaemon, "com.applex.foo"}},
      {"|||userAgent|com.ex\u00E4mple.\u00DF1",
       {LocationKind::userAgent, "com.ex\u00E4mple.\u00DF1"}},
  };
  for (const auto& [entry, expected] : cases) {
    const RemovalRequest request = parseRequestEntry(entry);
    EXPECT_EQ(request.kind, expected.kind) << entry;
    EXPECT_EQ(request.label, expected.label) << entry;
  }
  for (const char* entry :
       {"", "|", "||", "userAgent", "userAgent|", "|userAgent", "|userAgent|", "UserAgent|a",
        "agent|a", "userAgent ||a", "userAgent||a", "userAgent|a|b", "userAgent|a/b",
        "userAgent|a b", "userAgent|a\n", "userAgent/a", "userAgent|com.apple.foo",
        // A separator with a mark on it is another character.
        "userAgent|\u0301a", "|\u0301userAgent|a"}) {
    EXPECT_TRUE(isRefused({entry})) << entry;
    EXPECT_TRUE(isRefused({"userAgent|fine", entry})) << entry;
  }
  EXPECT_TRUE(isRefused({std::string("userAgent|a\0b", 13)}));
}

TEST(RemovalRequest, countsEntriesThatAreTheSame) {
  std::vector<std::string> entries;
  entries.reserve(600);
  for (int i = 0; i < 128; ++i) entries.push_back("userAgent|org.example." + std::to_string(i));
  for (int i = 0; i < 400; ++i) entries.push_back(entries.front());
  const std::vector<RemovalRequest> requests = validateRequest(entries);
  ASSERT_EQ(requests.size(), 128U);
  EXPECT_EQ(requests[5].label, "org.example.5");
  entries.push_back("sharedAgent|org.example.0");
  EXPECT_TRUE(isRefused(entries));
  EXPECT_TRUE(isRefused({}));

  EXPECT_EQ(validateRequest({"userAgent|\u00E9", "userAgent|e\u0301"}).size(), 1U);
  EXPECT_EQ(validateRequest({"userAgent|a", "|userAgent|a"}).size(), 1U);
  EXPECT_EQ(validateRequest({"userAgent|a", "userAgent|A", "sharedAgent|a"}).size(), 3U);
}

TEST(LaunchdLabel, allowsProtectedOrUnspeakableLabels) {
  const std::string letters(255, 'x');
  std::string twoByteLetters;
  for (int i = 0; i < 127; ++i) twoByteLetters += "\u00E9";
  for (const std::string& label : {letters, twoByteLetters, "a"s, "com.applex"s, "org.com.apple.x"s,
                                   "com.velmorax.y"s, "a_b-c.D9"s, "e\u0301"s, "\u0661\u2167"s}) {
    EXPECT_TRUE(isAllowedLabel(label)) << label;
  }
  for (const std::string& label :
       {""s, letters + "x", twoByteLetters + "\u00E9", "com.apple."s, "com.apple.foo"s,
        "COM.Apple.foo"s, "com.velmora.x"s, "Com.VELMORA.x"s, "a|b"s, "a/b"s, "a b"s, "a\u00A0b"s,
        "a\tb"s, "a\u200Bb"s, "a+b"s, "a\u20AC"s, "a\0b"s, "../a"s}) {
    EXPECT_FALSE(isAllowedLabel(label)) << label;
  }
}

}  // namespace
}  // namespace velmora
