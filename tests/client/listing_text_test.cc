#include "client/listing_text.h"

#include <gtest/gtest.h>

namespace velmora {
namespace {

TEST(ListingText, hostileNameOrLabelActsOnATerminal) {
  const LocationKind kind = LocationKind::sharedAgent;
  const ItemListing hostile = {
      {"/a\nb",
       kind,
       "",
       {{"gr\u00F6\u00DFe.plist", kind, "org.gr\u00F6\u00DFe", ""},
        {"\x1b[2J\x7F\xFF\\.plist", kind, "\u202Etsil\u200B\u009B\u2028", "is strange"}}}};
  EXPECT_EQ(readableText(hostile),
            "/a\\nb\n"
            "  sharedAgent|org.gr\u00F6\u00DFe  gr\u00F6\u00DFe.plist\n"
            "  -                      \\x1b[2J\\x7f\\xff\\\\.plist: is strange "
            "(\\u{202e}tsil\\u{200b}\\u{9b}\\u{2028})\n");
}

}  // namespace
}  // namespace velmora
