#include "platform/text.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <string_view>
#include <utility>

#include "platform/utf8.h"

namespace velmora {
namespace {

using namespace std::string_literals;

// The tables hold several cases to a line, which clang-format would spread.
// clang-format off

TEST(Text, takesMalformedBytesOrRefusesText) {
  const std::string sound = "\0\u00E9\u0800\uD7FF\uE000\uFFFF\U00010000\xF4\x8F\xBF\xBF"s;
  EXPECT_EQ(decodeUTF8(sound), sound);
  for (const std::string bytes : {
      "\x80", "\xF8\x88\x80\x80\x80", "\xC3", "\xF0\x9F\x98", "\xC3(",  // no beginning, no end
      "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF",              // overlong
      "\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80"}) {       // surrogates, past U+10FFFF
    EXPECT_FALSE(decodeUTF8(bytes).has_value()) << testing::PrintToString(bytes);
    EXPECT_FALSE(decodeUTF8("text " + bytes + " text").has_value());
  }
}

// What becomes of each scalar by itself is text_of_every_scalar's to show.

TEST(Text, trimTakesWhatIsInTheMiddle) {
  const std::string white = " \r\n\u0085\u3000";
  EXPECT_EQ(trimWhitespaceAndNewlines(white + "a" + white + "b" + white), "a" + white + "b");
}

TEST(Text, canonicalFormTellsEquivalentTextsApartOrDifferentOnesNot) {
  const std::pair<const char*, const char*> equivalent[] = {
      {"\u1F82", "\u03B1\u0313\u0300\u0345"}, {"\uAC01", "\u1100\u1161\u11A8"},
      {"a\u0345\u0301\u0316\u0334", "a\u0334\u0316\u0301\u0345"}};      // marks of other classes
  const std::pair<const char*, const char*> different[] = {
      {"a\u0301\u0300", "a\u0300\u0301"},              // marks of one class keep their order
      {"a\u0316\u034F\u0301", "a\u0301\u034F\u0316"},  // nor does one pass another starter
      {"\uAC00\u11A7", "\uAC00"}};
  for (const auto& [a, b] : equivalent) EXPECT_EQ(canonicalForm(a), canonicalForm(b)) << a;
  for (const auto& [a, b] : different) EXPECT_NE(canonicalForm(a), canonicalForm(b)) << a;
}

// clang-format on

TEST(Text, userPerceivedCharactersAreCutApartOrRunTogether) {
  EXPECT_EQ(userPerceivedCharacterCount("a||\u0301|\u200D\r\n\n\U0001F1E9\U0001F1EA\U0001F1EB"),
            8U);
  for (const char* alone : {"|", "||", "|a", "|\n"}) EXPECT_TRUE(beginsWithCharacter(alone, '|'));
  for (const char* other : {"", "a|", "|\u0301", "|\u200D", "|\u0903"}) {
    EXPECT_FALSE(beginsWithCharacter(other, '|')) << other;
  }
}

TEST(Text, longTextTakesMoreThanLinearTime) {
  const auto processorTime = [](const char* piece, std::size_t count) {
    std::string text = "|";
    for (std::size_t i = 0; i < count; ++i) text += piece;
    const std::clock_t start = std::clock();
    EXPECT_FALSE(canonicalForm(text).empty());
    EXPECT_GT(userPerceivedCharacterCount(text), 0U);
    return std::clock() - start;
  };
  // Eight times the text would take 64 times as long if the square of its length counted.
  for (const char* piece : {"\u0301\u0316", "\U0001F1E6", "\U0001F468\u200D"}) {
    EXPECT_LT(processorTime(piece, 32000), 30 * (processorTime(piece, 4000) + 5000)) << piece;
  }
}

}  // namespace
}  // namespace velmora
