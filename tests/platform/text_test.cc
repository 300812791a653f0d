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

TEST(Text, trimLeavesWhiteSpaceOrTakesMore) {
  const std::string white = " \t\n\v\f\r\u0085\u00A0\u1680\u2000\u2028\u2029\u200B\u202F\u3000";
  EXPECT_EQ(trimWhitespaceAndNewlines(white + "a" + white + "b" + white), "a" + white + "b");
  // NUL, other controls and characters without width are no white space.
  const std::string other = "\0\x08\x0E\x1F\u0084\u180E\u2060\uFEFF\0"s;
  EXPECT_EQ(trimWhitespaceAndNewlines(other), other);
}

TEST(Text, canonicalFormTellsEquivalentTextsApartOrDifferentOnesNot) {
  const std::pair<const char*, const char*> equivalent[] = {
      {"\u00E9", "e\u0301"}, {"\u1F82", "\u03B1\u0313\u0300\u0345"},
      {"a\u0345\u0301\u0316\u0334", "a\u0334\u0316\u0301\u0345"},       // marks of other classes
      {"\uAC01", "\u1100\u1161\u11A8"}, {"\u0958", "\u0915\u093C"}};    // Hangul; never composed
  const std::pair<const char*, const char*> different[] = {
      {"a\u0301\u0300", "a\u0300\u0301"},              // marks of one class keep their order
      {"a\u0316\u034F\u0301", "a\u0301\u034F\u0316"},  // nor does one pass another starter
      {"a", "A"}, {"\uFB01", "fi"}, {"\uAC00\u11A7", "\uAC00"}};
  for (const auto& [a, b] : equivalent) EXPECT_EQ(canonicalForm(a), canonicalForm(b)) << a;
  for (const auto& [a, b] : different) EXPECT_NE(canonicalForm(a), canonicalForm(b)) << a;
}

TEST(Text, labelPassesInCapitalsOrWithOtherCharacters) {
  // KELVIN SIGN is a capital; the last two are lower-case, though their capitals are ASCII.
  EXPECT_EQ(lowercased("COM.Apple.x \u212A\u0130\u0131\u017F\u00C4\u03A3\U00010400"),
            "com.apple.x ki\u0307\u0131\u017F\u00E4\u03C3\U00010428");
  EXPECT_TRUE(isAlphanumericExcept("aZ09._-\u00E4\u01C5\u05D0e\u0301\u20DD\u2167\u00BD", "._-"));
  for (const std::string& text : {"|"s, "/"s, "\0"s, "\n"s, "\u00A0"s, "\u200D"s, "\u2010"s,
                                  "\u20AC"s, "\uE000"s, "\u0378"s, "\xFF"s}) {
    EXPECT_FALSE(isAlphanumericExcept("a" + text + "a", "._-")) << testing::PrintToString(text);
  }
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
