#include "removal/removal_request.h"

#include <gtest/gtest.h>

#include "removal/launchd_label.h"
#include "removal/legacy_background_item_removal_error.h"

namespace velmora {
namespace {

using namespace std::string_literals;
using Keys = std::vector<std::string>;

// The keys of the items that a request names; none of a request that is refused.
Keys keysOf(const std::vector<std::string>& entries) {
  Keys keys;
  try {
    for (const auto& [kind, label] : validateRequest(entries)) keys.push_back(itemKey(kind, label));
    EXPECT_FALSE(keys.empty());
  } catch (const LegacyBackgroundItemRemovalError& error) {
    EXPECT_EQ(error.kind(), LegacyBackgroundItemRemovalError::Case::invalidRequest);
  }
  return keys;
}

TEST(RemovalRequest, splitsEntriesInTheWrongPlace) {
  for (const char* key : {"userAgent|org.example.job", "sharedAgent|a", "systemDaemon|\u00E4"}) {
    EXPECT_EQ(keysOf({key}), Keys{key});
    EXPECT_EQ(keysOf({"||"s + key}), Keys{key});
  }
  for (const std::string& entry :
       {""s, "|"s, "||"s, "userAgent"s, "userAgent|"s, "|userAgent"s, "|userAgent|"s,
        "UserAgent|a"s, "agent|a"s, "userAgent ||a"s, "userAgent||a"s, "userAgent|a|b"s,
        "userAgent/a"s, "userAgent|com.apple.foo"s,
        // A separator with a mark on it is another character.
        "userAgent|\u0301a"s, "|\u0301userAgent|a"s}) {
    EXPECT_EQ(keysOf({"userAgent|fine", entry}), Keys()) << entry;
  }
}

TEST(RemovalRequest, countsEntriesThatAreTheSame) {
  Keys entries;
  for (int i = 0; i < 127; ++i) entries.push_back("userAgent|org.example." + std::to_string(i));
  entries.emplace_back("userAgent|\u00E9");
  const Keys distinct = entries;
  entries.insert(entries.end(), 400, "userAgent|e\u0301");
  EXPECT_EQ(keysOf(entries), distinct);
  entries.emplace_back("sharedAgent|org.example.0");
  EXPECT_EQ(keysOf(entries), Keys());
  EXPECT_EQ(keysOf({}), Keys());

  EXPECT_EQ(keysOf({"userAgent|\u00E9", "|userAgent|e\u0301"}).size(), 1U);
  EXPECT_EQ(keysOf({"userAgent|a", "userAgent|A", "sharedAgent|a"}).size(), 3U);
}

TEST(LaunchdLabel, allowsProtectedOrUnspeakableLabels) {
  const std::string letters(255, 'x');
  for (const std::string& label :
       {letters, "a_b-c.D9\u00E9"s, "com.applex"s, "org.com.apple.x"s, "com.velmorax.y"s}) {
    EXPECT_TRUE(isAllowedLabel(label)) << label;
  }
  for (const std::string& label :
       {""s, letters + "x", letters.substr(1) + "\u00E9", "com.apple."s, "COM.Apple.foo"s,
        "com.velmora.x"s, "Com.VELMORA.x"s, "a|b"s, "../a"s}) {
    EXPECT_FALSE(isAllowedLabel(label)) << label;
  }
}

}  // namespace
}  // namespace velmora
