#include "client/listing_text.h"

#include <gtest/gtest.h>

namespace velmora {
namespace {

// What a hostile user could put into a shared folder, or another system into a name.
const ItemListing hostile = {
    {"/a\nb",
     "",
     {{"\x1b[2J\x7F\xFFz\\.plist", LocationKind::userAgent, "", "is a symbolic link"}}},
    {"/empty", "", {}},
    {"/away", "No such file or directory", {}},
    {"/c",
     "",
     {{"gr\u00F6\u00DFe.plist", LocationKind::sharedAgent, "org.gr\u00F6\u00DFe", ""},
      {"k.plist", LocationKind::sharedAgent, "org.k", ""},
      {"\u202Etsilp.plist", LocationKind::sharedAgent, "\"\u009B|\u200B", "is strange"},
      {"long.plist", LocationKind::sharedAgent, std::string(256, '\n'), "is strange"}}}};

TEST(ListingTextTest, actsOnATerminal) {
  EXPECT_EQ(readableText(hostile),
            "/a\\nb\n"
            "  -                      \\x1b[2J\\x7f\\xffz\\\\.plist: is a symbolic link\n"
            "\n/empty\n"
            "  no property lists\n"
            "\n/away\n"
            "  cannot be listed: No such file or directory\n"
            "\n/c\n"
            "  sharedAgent|org.gr\u00F6\u00DFe  gr\u00F6\u00DFe.plist\n"
            "  sharedAgent|org.k      k.plist\n"
            "  -                      \\u{202e}tsilp.plist: is strange (\"\\u{9b}|\\u{200b})\n"
            "  -                      long.plist: is strange (256 bytes)\n");
}

TEST(ListingTextTest, makesBadJSON) {
  ItemListing some = hostile;
  some.back().files.resize(3);
  some.back().files.erase(some.back().files.begin());
  EXPECT_EQ(jsonText(some),
            "[\n"
            R"({"file":"\/a\nb\/\u001b[2J)"
            "\x7F\uFFFDz"
            R"(\\.plist","kind":"userAgent","reason":"is a symbolic link","removable":false},)"
            "\n"
            R"({"file":"\/c\/k.plist","key":"sharedAgent|org.k","kind":"sharedAgent",)"
            R"("label":"org.k","removable":true},)"
            "\n"
            "{\"file\":\"\\/c\\/\u202Etsilp.plist\",\"kind\":\"sharedAgent\","
            "\"label\":\"\\\"\u009B|\u200B\",\"reason\":\"is strange\",\"removable\":false}\n"
            "]\n");
  EXPECT_EQ(jsonText({{"/empty", "", {}}}), "[]\n");
}

}  // namespace
}  // namespace velmora
