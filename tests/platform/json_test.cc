#include "platform/json.h"

#include <gtest/gtest.h>

#include <ctime>

#include "raised.h"

namespace velmora {
namespace {

using namespace std::string_literals;

std::string repeated(const std::string& piece, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += piece;
  return text;
}

// The tables hold several cases to a line, which clang-format would spread.
// clang-format off

TEST(JSON, misreadsAStringOrTakesAnotherShape) {
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"[]", {}}, {" [ \"a\" ,\r\n\t\"a\" ] ", {"a", "a"}},
      {R"(["\"\\\/\b\f\n\r\t/","\u0000","\u00e9é","\ud83d\ude00"])",
       {"\"\\/\b\f\n\r\t/", "\0"s, "\u00E9\u00E9", "\U0001F600"}}};
  for (const auto& [json, strings] : cases) EXPECT_EQ(decodeStringArray(json), strings) << json;
  for (const std::string json : {"{\"a\":\"b\"}", "\"a\"", "null", "1", "[-1]", "[1.5]", "[null]",
                                 "[\"a\",false]", "[\"a\",[\"b\"]]", "[{}]"}) {
    EXPECT_EQ(raised<JSONError>([&] { (void)decodeStringArray(json); }).errorDescription(),
              "The data is not a JSON array of strings.") << json;
  }
}

TEST(JSON, readsOrQuotesWhatIsNotJSON) {
  for (const std::string& json : {
      ""s, "[\"a\",]"s, "[\"a\"] x"s, "[\"a\"]\0x"s, "\0[\"a\"]"s, "[\"a\0\"]"s, "[\"\\ud800\"]"s,
      "[\"\xED\xA0\x80\"]"s, "// note\n[]"s, repeated("a\xFF\n", 1000), "[\"" + repeated("a", 999)}) {
    const auto error = raised<JSONError>([&] { (void)decodeStringArray(json); }).errorDescription();
    EXPECT_TRUE(error.starts_with("The data is not valid JSON (byte ")) << error;
    EXPECT_LT(error.size(), 100U) << error;
  }
}

TEST(JSON, writesWhatAReaderTakesForSomethingElseOrWhatNoJSONCanHold) {
  EXPECT_EQ(encodeRecord({{"a/b", "/c\\/"}, {"e", 4294967295U}, {"f", 788918400.0}, {"g", 0.125},
                          {"h", true}, {"i", 1e300}, {"j", "\u00E9\0\"\n"s}}),
            R"({"a\/b":"\/c\\\/","e":4294967295,"f":788918400,"g":0.125,"h":true,"i":1e+300,)"
            "\"j\":\"\u00E9\\u0000\\\"\\n\"}");
  EXPECT_THROW((void)encodeStringArray({"a", "\xFF"}), JSONError);
  EXPECT_THROW((void)encodeRecord({{"a", "\xED\xA0\x80"}}), JSONError);
}

// clang-format on

TEST(JSON, deepOrLongTextOverflowsOrTakesMoreThanLinearTime) {
  const auto processorTime = [](std::size_t count) {
    const std::clock_t start = std::clock();
    EXPECT_THROW((void)decodeStringArray(repeated("[", count)), JSONError);
    EXPECT_EQ(decodeStringArray("[\"" + repeated("\\n", count) + "\"]").front().size(), count);
    EXPECT_EQ(decodeStringArray("[" + repeated("\"\",", count) + "\"\"]").size(), count + 1);
    return std::clock() - start;
  };
  EXPECT_LT(processorTime(1600000), 30 * (processorTime(200000) + 5000));
}

}  // namespace
}  // namespace velmora
