#include "platform/json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <ctime>

#include "raised.h"

namespace velmora {
namespace {

using namespace std::string_literals;
using Strings = std::vector<std::string>;

std::string repeated(const std::string& piece, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += piece;
  return text;
}

const std::string notJSON[] = {
    "",
    " ",
    "[",
    "[\"a\"",
    "[\"a",
    "[\"a\",]",
    "[,\"a\"]",
    "[\"a\" \"b\"]",
    "['a']",
    "[\"a\"] x",
    "[\"a\"][]",
    "[\"a\"]\0"s,
    "[\"a\"]\0x"s,
    "\0[\"a\"]"s,
    "[\"a\0\"]"s,
    "[\"a\n\"]",
    "[\"\\x\"]",
    "[\"\\u12\"]",
    "[\"\\ud800\"]",         // lone surrogates
    "[\"\\udc00\"]",         //
    "[\"\\ud800\\u0041\"]",  //
    "[\"\xED\xA0\x80\"]",
    "[\"\xC0\x80\"]",
    "[\"\xFF\"]",
    "[\"\xE2\x82\"]",
    "// note\n[\"a\"]",
    "\xFF\xFE[\0\"\0a\0\"\0]\0"s,
};

TEST(JSON, decodeStringArrayMisreadsAString) {
  const std::pair<std::string, Strings> cases[] = {
      {"[]", {}},
      {" [ \"a\" ,\r\n\t\"a\" ] ", {"a", "a"}},
      {R"(["\"\\\/\b\f\n\r\t","/"])", {"\"\\/\b\f\n\r\t", "/"}},
      {R"(["\u0000","\u00e9\u00C9","\ud83d\ude00"])", {"\0"s, "\u00E9\u00C9", "\U0001F600"}},
      {"[\"\u00E9\U0001F600\uFFFF\"]", {"\u00E9\U0001F600\uFFFF"}},
      {"\uFEFF[\"a\"]", {"a"}},
  };
  for (const auto& [json, strings] : cases) EXPECT_EQ(decodeStringArray(json), strings) << json;
}

TEST(JSON, decodeStringArrayTakesAnotherShape) {
  for (const std::string json :
       {"{}", "\"a\"", "null", "true", "1", "{\"a\":\"b\"}", "[1]", "[-1]", "[1.5]", "[null]",
        "[\"a\",false]", "[[]]", "[\"a\",[\"b\"]]", "[{}]", "[{\"a\":\"b\"}]"}) {
    EXPECT_EQ(raised<JSONError>([&] { (void)decodeStringArray(json); }).errorDescription(),
              "The data is not a JSON array of strings.")
        << json;
  }
}

TEST(JSON, readsWhatIsNotJSON) {
  for (const std::string& json : notJSON) {
    const std::string message =
        raised<JSONError>([&] { (void)decodeStringArray(json); }).errorDescription();
    EXPECT_TRUE(message.starts_with("The data is not valid JSON (byte ")) << message;
    EXPECT_THROW((void)decodeRecord("{\"a\":" + json + "}"), JSONError)
        << testing::PrintToString(json);
  }
}

TEST(JSON, quotesHostileTextInItsMessage) {
  for (const std::string& json : {repeated("a\xFF\n", 1000), "[\"" + repeated("a", 1000)}) {
    const auto error = raised<JSONError>([&] { (void)decodeStringArray(json); });
    EXPECT_LT(error.errorDescription().size(), 100U) << error.errorDescription();
  }
}

TEST(JSON, decodeRecordMisreadsMembers) {
  const std::pair<std::string, JSONRecord> cases[] = {
      {"{}", {}},
      {R"({"path":"\/a/b","":""})", {{"path", "/a/b"}, {"", ""}}},
      {R"({"a":0,"b":4294967295,"c":5.0,"d":-0,"e":1e3})",
       {{"a", 0U}, {"b", 4294967295U}, {"c", 5U}, {"d", 0U}, {"e", 1000U}}},
      {R"({"a":-1,"b":4294967296,"c":0.5,"d":-9223372036854775808,"e":1e300})",
       {{"a", -1.0}, {"b", 4294967296.0}, {"c", 0.5}, {"d", -0x1p63}, {"e", 1e300}}},
      {R"({"a":18446744073709551616,"b":1e-999})", {{"a", 0x1p64}, {"b", 0U}}},
      {R"({"a":{"b":"c","d":[{"e":1}]},"f":[["g"],2],"h":null,"i":true,"j":"k"})",
       {{"i", true}, {"j", "k"}}},
      {R"({"a":"first","a":"last"})", {{"a", "last"}}},
      {R"({"a":"first","a":null,"b":{"c":"d"},"c":1})", {{"c", 1U}}},
  };
  for (const auto& [json, record] : cases) EXPECT_EQ(decodeRecord(json), record) << json;
}

TEST(JSON, decodeRecordTakesAnotherShapeOrANumberOutOfRange) {
  for (const std::string json : {"[]", "\"a\"", "null", "1", "-1.5", "true", "[{\"a\":1}]"}) {
    EXPECT_EQ(raised<JSONError>([&] { (void)decodeRecord(json); }).errorDescription(),
              "The data is not a JSON object.")
        << json;
  }
  for (const std::string number :
       {"1e999", "-1e999", "01", "+1", ".5", "1.", "1e", "-", "NaN", "Infinity", "0x10"}) {
    EXPECT_THROW((void)decodeRecord("{\"a\":" + number + "}"), JSONError) << number;
  }
}

TEST(JSON, writesWhatAReaderTakesForSomethingElse) {
  EXPECT_EQ(encodeStringArray({}), "[]");
  EXPECT_EQ(encodeStringArray({"\"\\\n\x01\x7F", "\0"s, "\u00E9\U0001F600"}),
            "[\"\\\"\\\\\\n\\u0001\x7F\",\"\\u0000\",\"\u00E9\U0001F600\"]");
  EXPECT_EQ(encodeRecord({}), "{}");
  const JSONRecord record = {{"a/b", "/c\\/"},     {"e", 4294967295U}, {"f", 788918400.0},
                             {"g", 788918400.125}, {"h", -1.5},        {"i", 1e300},
                             {"j", "\u00E9"}};
  const std::string json = encodeRecord(record);
  EXPECT_EQ(json, R"({"a\/b":"\/c\\\/","e":4294967295,"f":788918400,"g":788918400.125,"h":-1.5,)"
                  "\"i\":1e+300,\"j\":\"\u00E9\"}");
  EXPECT_EQ(std::get<std::uint32_t>(decodeRecord(json).at("f")), 788918400U);
}

TEST(JSON, writesWhatNoJSONCanHold) {
  for (const std::string text : {"\xFF", "a\xC3", "\xED\xA0\x80", "\xC0\x80"}) {
    EXPECT_THROW((void)encodeStringArray({"a", text}), JSONError);
    EXPECT_THROW((void)encodeRecord({{"a", text}}), JSONError);
    EXPECT_THROW((void)encodeRecord({{text, "a"}}), JSONError);
  }
  for (const double number : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
    EXPECT_THROW((void)encodeRecord({{"a", number}}), JSONError);
  }
}

TEST(JSON, deepOrLongTextOverflowsOrTakesMoreThanLinearTime) {
  const auto processorTime = [](std::size_t count) {
    const std::string deepArray = repeated("[", count) + repeated("]", count);
    const std::clock_t start = std::clock();
    EXPECT_THROW((void)decodeStringArray(deepArray), JSONError);
    EXPECT_EQ(decodeRecord("{\"a\":" + deepArray + "}"), JSONRecord());
    EXPECT_THROW((void)decodeRecord(repeated("{\"a\":", count)), JSONError);
    EXPECT_EQ(decodeStringArray("[\"" + repeated("\\n", count) + "\"]").front().size(), count);
    EXPECT_EQ(decodeStringArray("[" + repeated("\"\",", count) + "\"\"]").size(), count + 1);
    EXPECT_THROW((void)decodeRecord("{\"a\":" + repeated("9", count) + "}"), JSONError);
    return std::clock() - start;
  };
  EXPECT_LT(processorTime(1600000), 30 * (processorTime(200000) + 5000));
}

}  // namespace
}  // namespace velmora
