#include "removal/removal_request.h"

#include <gtest/gtest.h>

#include "raised.h"
#include "removal/launchd_label.h"
#include "removal/legacy_background_item_removal_error.h"

namespace velmora {
namespace {

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
  const struct {
    const char* entry;
    LocationKind kind;
    const char* label;
  } cases[] = {
      {"userAgent|org.example.job", LocationKind::userAgent, "org.example.job"},
      {"sharedAgent|a", LocationKind::sharedAgent, "a"},
      {"systemDaemon|com.applex.foo", LocationKind::systemDaemon, "com.applex.foo"},
      {"|||userAgent|org.example.job", LocationKind::userAgent, "org.example.job"},
      {"userAgent|com.ex\u00E4mple.\u00DF1", LocationKind::userAgent, "com.ex\u00E4mple.\u00DF1"},
  };
  for (const auto& [entry, kind, label] : cases) {
    const RemovalRequest request = parseRequestEntry(entry);
    EXPECT_EQ(request.kind, kind) << entry;
    EXPECT_EQ(request.label, label) << entry;
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
  for (const std::string& label :
       {letters, twoByteLetters, std::string("a"), std::string("com.applex"),
        std::string("org.com.apple.x"), std::string("com.velmorax.y"), std::string("a_b-c.D9"),
        std::string("e\u0301"), std::string("\u0661\u2167\U00010400")}) {
    EXPECT_TRUE(isAllowedLabel(label)) << label;
  }
  for (const std::string& label :
       {std::string(), letters + "x", twoByteLetters + "\u00E9", std::string("com.apple."),
        std::string("com.apple.foo"), std::string("COM.Apple.foo"), std::string("com.velmora.x"),
        std::string("Com.VELMORA.x"), std::string("a|b"), std::string("a/b"), std::string("a b"),
        std::string("a\u00A0b"), std::string("a\tb"), std::string("a\u200Bb"), std::string("a+b"),
        std::string("a\u20AC"), std::string("a\0b", 3), std::string("../a")}) {
    EXPECT_FALSE(isAllowedLabel(label)) << label;
  }
}

TEST(LegacyBackgroundItemRemovalError, saysAnythingElse) {
  const std::pair<Error, const char*> cases[] = {
      {Error::itemNotFound("L"),
       "The background item L is no longer present in an allowed launchd folder."},
      {Error::ambiguousItem("L"),
       "More than one background item uses the label L in the same launchd location."},
      {Error::itemChanged("L"),
       "The background item L changed during removal, so Velmora stopped safely."},
      {Error::removalFailed("L", "Why."), "The background item L could not be removed: Why.."},
      {Error::unsafePath("/P"),
       "/P contains a symbolic link or is unavailable, so Velmora stopped safely."},
      {Error::userUnavailable(),
       "The signed-in user\xE2\x80\x99s home directory could not be resolved safely."},
      {Error::archiveUnavailable(),
       "Velmora could not create its protected background-item archive."},
  };
  for (const auto& [error, text] : cases) EXPECT_EQ(error.errorDescription(), text);
}

}  // namespace
}  // namespace velmora
