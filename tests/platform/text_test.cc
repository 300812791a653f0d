#include "platform/text.h"

#include <gtest/gtest.h>

namespace velmora {
namespace {

using namespace std::string_literals;

TEST(Text, decodeUTF8TakesMalformedBytesOrRefusesText) {
  const std::string texts[] = {
      "", "a\0b"s, "\u00E9\u0800\uFFFF", "\uD7FF\uE000", "\U00010000", "\xF4\x8F\xBF\xBF"};
  for (const std::string& text : texts) EXPECT_EQ(decodeUTF8(text), text);
  const std::string malformed[] = {
      "\x80",              // a continuation on its own
      "a\xC3",             // cut short at the end
      "\xE2\x82",          //
      "\xF0\x9F\x98",      //
      "\xC3(",             // cut short in the middle
      "\xE2\x82z",         //
      "\xC0\x80",          // overlong, two bytes
      "\xC1\xBF",          //
      "\xE0\x9F\xBF",      // overlong, three bytes
      "\xF0\x8F\xBF\xBF",  // overlong, four bytes
      "\xED\xA0\x80",      // surrogates, first and last
      "\xED\xBF\xBF",      //
      "\xF4\x90\x80\x80",  // past U+10FFFF
      "\xF8\x88\x80\x80\x80",
      "\xFF",
  };
  for (const std::string& bytes : malformed) {
    EXPECT_FALSE(decodeUTF8(bytes).has_value()) << testing::PrintToString(bytes);
    EXPECT_FALSE(decodeUTF8("text " + bytes + " text").has_value());
  }
}

TEST(Text, trimLeavesWhiteSpaceOrTakesMore) {
  for (const char* space : {" ", "\t", "\n", "\v", "\f", "\r", "\u0085", "\u00A0", "\u1680",
                            "\u2000", "\u200A", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000"}) {
    const std::string white = std::string(space) + space;
    std::string words = "a";
    words.append(white).append("b");
    EXPECT_EQ(trimWhitespaceAndNewlines(std::string(white).append(words).append(white)), words);
    EXPECT_EQ(trimWhitespaceAndNewlines(white), "");
  }
  // NUL, other controls and characters without width are no white space.
  for (const std::string& text : {""s, "\0"s, "\x08"s, "\x0E"s, "\x1F"s, "\u0084"s, "\u180E"s,
                                  "\u200B"s, "\u2060"s, "\uFEFF"s, "\u00E0"s}) {
    EXPECT_EQ(trimWhitespaceAndNewlines(text), text) << testing::PrintToString(text);
  }
}

TEST(Text, replacingUncarriableLetsThroughWhatACarrierRefuses) {
  const std::pair<std::string, std::string> cases[] = {
      {"\u00E9 \U0001F600\n\x01", "\u00E9 \U0001F600\n\x01"},
      {"\uFFFD\uFDCF\uFDF0\U0010FFFD", "\uFFFD\uFDCF\uFDF0\U0010FFFD"},
      {"a\0b"s, "a\uFFFDb"},
      {"\uFDD0-\uFDEF-\uFFFE-\uFFFF", "\uFFFD-\uFFFD-\uFFFD-\uFFFD"},
      {"\U0001FFFE\U0001FFFF\U0010FFFF", "\uFFFD\uFFFD\uFFFD"},
      {"\xFFz\xC3", "\uFFFDz\uFFFD"},
      {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(replacingUncarriable(text), expected) << testing::PrintToString(text);
    EXPECT_TRUE(decodeUTF8(replacingUncarriable(text)).has_value());
  }
}

}  // namespace
}  // namespace velmora
