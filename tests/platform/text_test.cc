#include "platform/text.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora {
namespace {

using namespace std::string_literals;

// The tables hold several cases to a line, which clang-format would spread.
// clang-format off

TEST(Text, decodeUTF8TakesMalformedBytesOrRefusesText) {
  const std::string sound = "\0\u00E9\u0800\uD7FF\uE000\uFFFF\U00010000\xF4\x8F\xBF\xBF"s;
  EXPECT_EQ(decodeUTF8(sound), sound);
  for (const std::string bytes : {
      "\x80", "\xFF", "\xF8\x88\x80\x80\x80",                // no beginning of a character
      "a\xC3", "\xE2\x82", "\xF0\x9F\x98",                   // cut short at the end
      "\xC3(", "\xE2\x82z",                                  // cut short in the middle
      "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF",        // overlong
      "\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80"}) { // surrogates, past U+10FFFF
    EXPECT_FALSE(decodeUTF8(bytes).has_value()) << testing::PrintToString(bytes);
    EXPECT_FALSE(decodeUTF8("text " + bytes + " text").has_value());
  }
}

TEST(Text, trimLeavesWhiteSpaceOrTakesMore) {
  const std::string white =
      " \t\n\v\f\r\u0085\u00A0\u1680\u2000\u200A\u2028\u2029\u202F\u205F\u3000";
  EXPECT_EQ(trimWhitespaceAndNewlines(white + "a" + white + "b" + white), "a" + white + "b");
  EXPECT_EQ(trimWhitespaceAndNewlines(white), "");
  // NUL, other controls and characters without width are no white space.
  for (const std::string& text : {""s, "\0"s, "\x08"s, "\x0E"s, "\x1F"s, "\u0084"s, "\u180E"s,
                                  "\u200B"s, "\u2060"s, "\uFEFF"s, "\u00E0"s}) {
    EXPECT_EQ(trimWhitespaceAndNewlines(text), text) << testing::PrintToString(text);
  }
}

TEST(Text, canonicalFormTellsEquivalentTextsApartOrDifferentOnesNot) {
  const std::pair<const char*, const char*> equivalent[] = {
      {"\u00E9", "e\u0301"}, {"\u1F82", "\u03B1\u0313\u0300\u0345"}, {"\u2126", "\u03A9"},
      {"a\u0345\u0301\u0316\u0334", "a\u0334\u0316\u0301\u0345"},       // marks of other classes
      {"\u1E69", "s\u0307\u0323"},                                      // the outer mark first
      {"\uAC01", "\u1100\u1161\u11A8"}, {"\uAC00\u11A8", "\uAC01"},     // Hangul
      {"\u0958", "\u0915\u093C"}, {"\U0001D15E", "\U0001D157\U0001D165"}};  // never composed
  const std::pair<const char*, const char*> different[] = {
      {"a\u0301\u0300", "a\u0300\u0301"},              // marks of one class keep their order
      {"a\u0316\u034F\u0301", "a\u0301\u034F\u0316"},  // nor does one pass another starter
      {"a", "A"}, {"\uFB01", "fi"}, {"\uAC00\u11A7", "\uAC00"}, {"a\u200D", "a"}, {"\u0131", "i"}};
  for (const auto& [a, b] : equivalent) EXPECT_EQ(canonicalForm(a), canonicalForm(b)) << a;
  for (const auto& [a, b] : different) EXPECT_NE(canonicalForm(a), canonicalForm(b)) << a;
  EXPECT_EQ(canonicalForm("a\0b"s), "a\0b"s);
  EXPECT_THROW((void)canonicalForm("a\xFF"), std::invalid_argument);
}

TEST(Text, lowercasedLeavesACapitalOfAProtectedPrefix) {
  // KELVIN SIGN is a capital; the last two are lower-case, though their capitals are ASCII.
  EXPECT_EQ(lowercased("COM.Apple.x \u212A\u0130\u0131\u017F"), "com.apple.x ki\u0307\u0131\u017F");
  EXPECT_EQ(lowercased("\uFF21\u00C4\u1E9E\u01C5\u039F\u03A3\U00010400"),
            "\uFF41\u00E4\u00DF\u01C6\u03BF\u03C3\U00010428");
}

TEST(Text, isAlphanumericExceptLetsThroughWhatIsNeither) {
  EXPECT_TRUE(isAlphanumericExcept("", ""));
  EXPECT_TRUE(isAlphanumericExcept("aZ09._-\u00E4\u00DF\u01C5\u02B0\u05D0e\u0301\u0903", "._-"));
  EXPECT_TRUE(isAlphanumericExcept("a\u20DD\u0665\u2167\u00BD\U00020000", ""));
  for (const std::string& text : {"|"s, "/"s, " "s, "\0"s, "\n"s, "~"s, "\u00A0"s, "\u200D"s,
                                  "\u2010"s, "\u203F"s, "\u20AC"s, "\uE000"s, "\u0378"s, "\xFF"s}) {
    EXPECT_FALSE(isAlphanumericExcept("a" + text + "a", "._-")) << testing::PrintToString(text);
  }
}

TEST(Text, replacingUncarriableLetsThroughWhatACarrierRefuses) {
  const std::pair<std::string, std::string> cases[] = {
      {"\u00E9 \n\x01\uFFFD\uFDCF\uFDF0\U0010FFFD", "\u00E9 \n\x01\uFFFD\uFDCF\uFDF0\U0010FFFD"},
      {"a\0b"s, "a\uFFFDb"}, {"\uFDD0-\uFDEF-\uFFFE-\uFFFF", "\uFFFD-\uFFFD-\uFFFD-\uFFFD"},
      {"\U0001FFFE\U0010FFFF", "\uFFFD\uFFFD"}, {"\xFFz\xC3", "\uFFFDz\uFFFD"},
      {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(replacingUncarriable(text), expected);
}

// clang-format on

std::vector<std::string_view> userPerceivedCharacters(std::string_view text) {
  std::vector<std::string_view> characters;
  while (!text.empty()) {
    characters.push_back(firstUserPerceivedCharacter(text));
    text.remove_prefix(characters.back().size());
  }
  return characters;
}

TEST(Text, userPerceivedCharactersAreCutApartOrRunTogether) {
  using Characters = std::vector<std::string_view>;
  const Characters cases[] = {
      {},
      {"a", "|", "|\u0301", "b"},
      {"|\u200D", "|\uFE0F"},
      {"\r\n", "\n", "\u0301"},
      {"\u1100\u1161\u11A8", "\u1100"},
      {"\U0001F1E9\U0001F1EA", "\U0001F1EB\U0001F1F7", "\U0001F1EE"},
      {"\U0001F468\u200D\U0001F469", "a"},
  };
  for (const Characters& characters : cases) {
    std::string text;
    for (const std::string_view character : characters) text += character;
    EXPECT_EQ(userPerceivedCharacters(text), characters) << text;
  }
}

TEST(Text, longTextTakesMoreThanLinearTime) {
  const auto processorTime = [](const char* piece, std::size_t count) {
    std::string text = "|";
    for (std::size_t i = 0; i < count; ++i) text += piece;
    const std::clock_t start = std::clock();
    EXPECT_FALSE(canonicalForm(text).empty());
    EXPECT_FALSE(userPerceivedCharacters(text).empty());
    EXPECT_FALSE(lowercased(text).empty());
    return std::clock() - start;
  };
  // Eight times the text would take 64 times as long if the square of its length counted.
  for (const char* piece : {"\u0301\u0316", "\u0344", "\U0001F1E6", "\U0001F468\u200D", "\u1161"}) {
    EXPECT_LT(processorTime(piece, 32000), 30 * (processorTime(piece, 4000) + 5000)) << piece;
  }
}

}  // namespace
}  // namespace velmora
