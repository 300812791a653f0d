#include "platform/property_list.h"

#include <gtest/gtest.h>

#include <utility>

#include "platform/binary_property_list.h"
#include "platform/process_info.h"
#include "platform/text.h"

namespace velmora {
namespace {

using namespace std::string_literals;
using enum PropertyListString::Outcome;

std::string described(const PropertyListString& found) {
  constexpr const char* names[] = {"", "<not a property list>", "<not a dictionary>", "<missing>",
                                   "<not a string>"};
  return names[static_cast<int>(found.outcome)] + found.value;
}

std::string label(std::string_view bytes) {
  return described(propertyListString(bytes, "Label"));
}

const std::string refused = "<not a property list>";
const std::string noDictionary = "<not a dictionary>";
const std::string missing_ = "<missing>";
const std::string noString = "<not a string>";

struct Case {
  std::string bytes;
  std::string expected;
};

void expectLabels(std::initializer_list<Case> cases) {
  for (const auto& [bytes, expected] : cases) {
    EXPECT_EQ(label(bytes), expected) << testing::PrintToString(bytes);
  }
}

std::string dict(const std::string& entries) {
  return "<plist version=\"1.0\"><dict>" + entries + "</dict></plist>";
}
std::string xmlValue(const std::string& value) {
  return dict("<key>Label</key>" + value);
}
std::string xmlBefore(const std::string& value) {
  return dict("<key>Label</key><string>a</string><key>k</key>" + value);
}

template <typename Unit>
std::string encoded(std::u32string_view text, bool isBigEndian) {
  std::string bytes;
  for (const char32_t unit : text) {
    for (std::size_t at = 0; at < sizeof(Unit); ++at) {
      const std::size_t shift = 8 * (isBigEndian ? sizeof(Unit) - 1 - at : at);
      bytes += static_cast<char>(unit >> shift & 0xFF);
    }
  }
  return bytes;
}

TEST(PropertyList, xmlReaderIsStricterThanApples) {
  expectLabels({
      {xmlValue("<string>a</string>"), "a"},
      {"<dict><key>Label</key><string>a</string></dict>", "a"},
      {"\xEF\xBB\xBF<?xml version='1.0'?><!DOCTYPE plist>" + xmlValue("<string>a</string>"), "a"},
      {"<!-- a -- b --><!DOCTYPE plist><!---->" + xmlValue("<!-- -- --><string>a</string>"), "a"},
      {"<!-- \xFF -->" + xmlValue("<string>a</string>"), "a"},
      {xmlValue("<string>a</string>") + "behind", "a"},
      {xmlValue("<?a?><!---><string x='y' >a</string\n>"), "a"},
      {xmlValue("<string>&lt;&gt;&amp;&apos;&quot;&#233;&#xe9;&#x1F600;</string>"),
       "<>&'\"\u00E9\u00E9\U0001F600"},
      {xmlValue("<string>a<![CDATA[<&b>]]]]>c</string>"), "a<&b>]]c"},
      {xmlValue("<string>\uFEFFa</string>"), "a"},
      {xmlValue("<string/>"), ""},
      {xmlValue("<key>a</key>"), "a"},
      {xmlValue("<plist><string>a</string></plist>"), "a"},
      {xmlValue("<string>a</string><key>Label</key><string>b</string>"), "b"},
      {xmlValue("<string>a</string><key>Label</key><true/>"), noString},
      {dict("<key>a</key><dict><key>Label</key><string>a</string></dict>"), missing_},
      {dict("<key>a</key><string>Label</string>"), missing_},
      {dict(""), missing_},
      {"<plist><dict/></plist>", missing_},
      {xmlValue("<dict><key>Label</key><string>a</string></dict>"), noString},
      {"<plist><array>" + xmlValue("<string>a</string>") + "</array></plist>", noDictionary},
      {"<plist><string>Label</string></plist>", noDictionary},
      {"<?xml version='1.0' encoding='ISO-8859-1'?>" + xmlValue("<string>\xE9</string>"), "\u00E9"},
      {"<!DOCTYPE plist [<!ENTITY a \"b\"> %x; <?p?><!-- > --> ] >" +
           xmlValue("<integer>1</integer>"),
       noString},
  });
}

TEST(PropertyList, xmlReaderIsLaxerThanApples) {
  expectLabels({
      {"", refused},
      {"<plist/>", refused},
      {"<plist></plist>", refused},
      {"<plist><dict/><dict/></plist>", refused},
      {dict("<string>Label</string><string>a</string>"), refused},
      {dict("<key>Label</key>"), refused},
      {dict("<plist><key>Label</key></plist><string>a</string>"), refused},
      {xmlValue("<string>a</string>text"), refused},
      {xmlValue("<string>a<!-- --></string>"), refused},
      {xmlValue("<string>a</key>"), refused},
      {xmlValue("<string>a&nbsp;b</string>"), refused},
      {xmlValue("<string>&#xD800;</string>"), refused},
      {xmlValue("<string>&#x110000;</string>"), refused},
      {xmlValue("<string>&#1a;</string>"), refused},
      {xmlValue("<string>&#000000065;</string>"), refused},
      {xmlValue("<string>\xFF</string>"), refused},
      {"<?xml version='1.0' encoding='EBCDIC'?>" + xmlValue("<string>a</string>"), refused},
      {"<!ELEMENT a>" + xmlValue("<string>a</string>"), refused},
      {"<!DOCTYPE plist [<!ENTITY a '>'> ]>" + xmlValue("<string>a</string>"), refused},
      {"<dict><key>Label</key><string>a</string></array>", refused},
      {"</dict>", refused},
      {"<dict><></dict>", refused},
      // Damage behind the label.
      {xmlBefore("<blob/>"), refused},
      {xmlBefore("<array><true/></dict>"), refused},
  });
  const char* taken[] = {"integer>0<",
                         "integer> -\t0x7fFF<",
                         "integer>+18446744073709551615<",
                         "integer>-9223372036854775808<",
                         "real>-.5e-3<",
                         "real> 1.<",
                         "real>+InFinity<",
                         "real>nan<",
                         "real>&#49;<",
                         "date>-12-34-56T78:90:12Z<",
                         "data>a b=!<",
                         "data><",
                         "true><",
                         "array><"};
  const char* bad[] = {"integer><",
                       "integer>0x<",
                       "integer>-<",
                       "integer>1 <",
                       "integer>1a<",
                       "integer>18446744073709551616<",
                       "integer>-9223372036854775809<",
                       "real><",
                       "real>1.e<",
                       "real>.<",
                       "real>1 <",
                       "real>+nan<",
                       "real>infinity1<",
                       "date><",
                       "date>2020-01-01<",
                       "date>2020-1-01T00:00:00Z<",
                       "date>2020-01-01T00:00:00Z <",
                       "data>\x80<",
                       "true> <"};
  const auto element = [](std::string_view start) {
    return "<" + std::string(start) + "/" + std::string(start.substr(0, start.find('>'))) + ">";
  };
  for (const char* start : taken) EXPECT_EQ(label(xmlBefore(element(start))), "a") << start;
  for (const char* start : bad) EXPECT_EQ(label(xmlBefore(element(start))), refused) << start;
  for (const char* empty : {"<integer/>", "<real/>", "<date/>", "<data/>", "<plist/>"}) {
    EXPECT_EQ(label(xmlBefore(empty)), refused) << empty;
  }
}

TEST(PropertyList, oldTextReaderDiffersFromApples) {
  expectLabels({
      {"{ Label = a.b-c_d/e:$; }", "a.b-c_d/e:$"},
      {"{Label=\"a\";}", "a"},
      {"{'Label' = 'a\"b';}", "a\"b"},
      {"\uFEFF// c\n/* c */ { /**/ Label /* ; */ = // }\r a ; } /* open", "a"},
      {"{ n = ( a, (), { k = v; }, <0f 0F>, ); Label = a; }", "a"},
      {"{\u2028Label =\u2029 a;}//\u2028", "a"},
      {R"({ Label = "\a\b\f\n\r\t\v\"\\\'\q\u0041"; })", "\a\b\f\n\r\t\v\"\\'qu0041"},
      {R"({ Label = "\U00e9\Ud83d\Ude00\Ud83dx\U41g\U"; })", "\u00E9\U0001F600\uFFFDxAg\0"s},
      {R"({ Label = "\101\0\341\3012\777\18"; })", "A\0\u00C6\u02CB2\0\1"s + "8"},
      {"{ Label = \"\\\u00E9\\\n\"; }", "\u00E9\n"},
      {"\"Label\" = \"a\"; other;", "a"},
      {"Label;", "Label"},
      {"Label = a; } behind", "a"},
      {"{ Label = a; Label = b; }", "b"},
      {"{ Label = a; Label = { x = y; }; }", noString},
      {"{ n = { Label = a; }; }", missing_},
      {" /* only */ // a comment", missing_},
      {"{}", missing_},
      {"lone", noDictionary},
      {"'lone'", noDictionary},
      {"( { Label = a; } )", noDictionary},
      {"<61>", noDictionary},
      {"{ Label = (a); }", noString},
      {"{ Label = <61>; }", noString},
      {"{ Label = a }", refused},
      {"{ Label = a;", refused},
      {"{ Label = a; } behind", refused},
      {"{ Label a; }", refused},
      {"{ (a) = b; }", refused},
      {"{ Label = ; }", refused},
      {"{ Label = \"a; }", refused},
      {"{ Label = \"a\\", refused},
      {"{ Label = a; k = (a b); }", refused},
      {"{ Label = a; k = (,); }", refused},
      {"{ Label = a; k = <6>; }", refused},
      {"{ Label = a; k = <6 1>; }", refused},
      {"{ Label = a; k = <g0>; }", refused},
      {"{ Label = a; k = \"\xFF\"; }", refused},
      {"Label = a", refused},
      {"Label = a; k", refused},
  });
}

TEST(PropertyList, textOfAnotherEncodingIsMisread) {
  for (const std::u32string& text :
       {U"<dict><key>Label</key><string>\u00E9</string></dict>"s, U"{ Label = \"\u00E9\"; }"s}) {
    for (const bool isBigEndian : {false, true}) {
      const std::string narrow = encoded<char16_t>(text, isBigEndian);
      EXPECT_EQ(label(encoded<char16_t>(U"\uFEFF", isBigEndian) + narrow), "\u00E9");
      EXPECT_EQ(label(encoded<char32_t>(U"\uFEFF" + text, isBigEndian)), "\u00E9");
      EXPECT_EQ(label(narrow), refused);
    }
  }
  const std::u32string start = U"\uFEFF{ Label = \"";
  const std::u32string surrogates[] = {{0xD800}, {0xDC00}, {0xD800, 0xD83D, 0xDE00}};
  for (const std::u32string& lone : surrogates) {
    EXPECT_EQ(label(encoded<char16_t>(start + lone + U"\"; }", false)), refused);
    EXPECT_EQ(label(encoded<char32_t>(start + lone + U"\"; }", false)), refused);
  }
  const std::u32string pair = {0xD83D, 0xDE00};
  EXPECT_EQ(label(encoded<char16_t>(start + pair + U"\"; }", true)), "\U0001F600");
  EXPECT_EQ(label(encoded<char32_t>(start + char32_t{0x110000} + U"\"; }", true)), refused);
}

// A dictionary with the label "a" and one entry more, of the key and value given.
std::string binaryBefore(std::string_view value, std::string_view key = "\x51k") {
  BinaryPropertyList list;
  const std::size_t labelKey = list.addString("Label");
  const std::size_t a = list.addString("a");
  const std::size_t other = list.add(key);
  const std::size_t last = list.add(value);
  return list.file(list.add("\xD2", {labelKey, other, a, last}));
}

std::string binaryValue(std::string_view value, std::string_view key = "\x55Label") {
  BinaryPropertyList list;
  const std::size_t first = list.add(key);
  const std::size_t second = list.add(value);
  return list.file(list.add("\xD1", {first, second}));
}

TEST(PropertyList, binaryReaderDiffersFromApples) {
  const std::string utf16Key = "\x65\0L\0a\0b\0e\0l"s;
  expectLabels({
      {binaryValue("\x51"
                   "a"),
       "a"},
      {binaryValue("\x51"
                   "a",
                   utf16Key),
       "a"},
      {binaryValue("\x5F\x11\0\2ab"s), "ab"},
      {binaryValue("\x5F\x10\0"s), ""},
      {binaryValue("\x51\xE9"), "\u00E9"},
      {binaryValue("\x65\0a\xD8\0\xD8\x3D\xDE\0\xDC\0"s), "a\uFFFD\U0001F600\uFFFD"},
      {binaryValue("\x51"
                   "a",
                   "\x56Labels"),
       missing_},
      {binaryValue("\x51"
                   "a",
                   "\x10\1"),
       noDictionary},
      {binaryBefore("\x51"
                    "b",
                    "\x55Label"),
       "a"},  // the first of two
      {binaryBefore("\x51"
                    "b",
                    "\0"s),
       noDictionary},
      {binaryBefore("\x51"
                    "b",
                    "\xA0"),
       refused},
      {binaryBefore("\x51"
                    "b",
                    "\xD0"),
       refused},
  });
  const std::string taken[] = {"\0"s,
                               "\x08",
                               "\x09",
                               "\x10z",
                               "\x14" + std::string(16, '\xFF'),
                               "\x22zzzz",
                               "\x23zzzzzzzz",
                               "\x33zzzzzzzz",
                               "\x42zz",
                               "\x80z",
                               "\x87\0\0\0\0\xFF\xFF\xFF\xFF"s,
                               "\xA0",
                               "\xC0",
                               "\xD0"};
  const std::string bad[] = {"\x0F",
                             "\x15" + std::string(32, 'z'),
                             "\x24" + std::string(16, 'z'),
                             "\x32zzzz",
                             "\x84\1\0\0\0\0"s,
                             "\xB0",
                             "\x70",
                             "\xE0",
                             "\xA1\xFF",
                             "\x4F\x20\1z"s,
                             "\x4F\x10",
                             "\x42z",
                             "\x5F\x13\x7F" + std::string(7, '\xFF')};
  for (const std::string& value : taken) {
    EXPECT_EQ(label(binaryBefore(value)), "a") << testing::PrintToString(value);
    EXPECT_EQ(label(binaryValue(value)), noString) << testing::PrintToString(value);
  }
  for (const std::string& value : bad) {
    // Last in the file, so that an object too long runs into the table.
    BinaryPropertyList list;
    const std::size_t key = list.addString("Label");
    const std::size_t a = list.addString("a");
    const std::size_t top = list.add("\xD2", {key, a, a, 3});
    list.add(value);
    EXPECT_EQ(label(list.file(top)), refused) << testing::PrintToString(value);
  }
}

TEST(PropertyList, trailerThatLiesIsBelieved) {
  const std::string sound = binaryValue(
      "\x51"
      "a");
  ASSERT_EQ(label(sound), "a");
  const auto with = [&sound](std::size_t fromEnd, char byte) {
    std::string bytes = sound;
    bytes[bytes.size() - fromEnd] = byte;
    return bytes;
  };
  EXPECT_EQ(label(with(sound.size() - 7, '9')), "a");  // any character is a version
  EXPECT_EQ(label(with(32, '\1')), "a");               // unused
  for (const auto& [fromEnd, byte] :
       std::initializer_list<std::pair<std::size_t, char>>{{sound.size() - 6, '1'},
                                                           {26, '\0'},
                                                           {26, '\3'},
                                                           {26, '\xFF'},
                                                           {25, '\0'},
                                                           {25, '\xFF'},
                                                           {24, '\x7F'},
                                                           {17, '\0'},
                                                           {17, '\4'},
                                                           {17, '\2'},
                                                           {9, '\3'},
                                                           {1, '\0'},
                                                           {1, '\x16'},
                                                           {8, '\x7F'},
                                                           {36, '\x7F'},
                                                           {33, '\0'},
                                                           {33, '\x7F'}}) {
    EXPECT_EQ(label(with(fromEnd, byte)), refused) << fromEnd << ' ' << int{byte};
  }
}

TEST(PropertyList, objectThatContainsItselfIsFollowedForEver) {
  const std::size_t levels = 20;  // beyond the depth at which Apple's reader starts to look
  for (const bool isCycle : {false, true}) {
    BinaryPropertyList list;
    const std::size_t key = list.addString("Label");
    const std::size_t a = list.addString("a");
    list.add("\xD2", {key, a, a, 3});
    for (std::size_t level = 0; level < levels; ++level) list.add("\xA1", {4 + level});
    list.add("\xA1", {isCycle ? 3 : a});
    EXPECT_EQ(label(list.file(2)), isCycle ? refused : "a");
  }
}

std::string repeated(std::string_view text, std::size_t times) {
  std::string result;
  for (std::size_t time = 0; time < times; ++time) result += text;
  return result;
}

std::string nestedArrays(std::size_t depth) {
  BinaryPropertyList list(4);
  const std::size_t key = list.addString("Label");
  const std::size_t a = list.addString("a");
  const std::size_t top = list.add("\xD2", {key, a, a, 3});
  for (std::size_t level = 1; level < depth; ++level) list.add("\xA1", {3 + level});
  list.add("\xA0");
  return list.file(top);
}

TEST(PropertyList, depthIsPaidForWithStack) {
  const std::size_t depth = 1'000'000;
  expectLabels({
      {xmlBefore(repeated("<array>", depth) + repeated("</array>", depth)), "a"},
      {xmlBefore(repeated("<dict><key/>", depth) + "<true/>" + repeated("</dict>", depth)), "a"},
      {repeated("<plist>", depth) + "<dict/>" + repeated("</plist>", depth), missing_},
      {"{ Label = a; k = " + repeated("(", depth) + repeated(")", depth) + "; }", "a"},
      {"{ Label = a; k = " + repeated("{k=", depth) + "v" + repeated(";}", depth) + "; }", "a"},
      {nestedArrays(depth), "a"},
      {repeated("<dict>", depth), refused},
      {repeated("(", depth), refused},
  });
}

// Each array holds the next one twice: 2^60 arrays to who follows every reference.
std::string sharedArrays() {
  BinaryPropertyList list;
  const std::size_t key = list.addString("Label");
  const std::size_t a = list.addString("a");
  const std::size_t top = list.add("\xD2", {key, a, a, 3});
  for (std::size_t level = 0; level < 60; ++level) list.add("\xA2", {4 + level, 4 + level});
  list.add("\xA0");
  return list.file(top);
}

// One long string under every key of a large dictionary.
std::string sharedKey(std::size_t size) {
  BinaryPropertyList list;
  const std::string count = {'\x12', '\0', static_cast<char>(size >> 16), '\0', '\0'};
  list.add("\x5F" + count + std::string(size, 'L'));
  return list.file(list.add("\xDF" + count + std::string(2 * size, '\0')));
}

// Arrays that begin six bytes apart and are each most of the file long. As references, their own
// beginnings are the numbers 0xAF12, 4 and 0.
std::string overlappingArrays() {
  const std::size_t arrays = 20'000;
  const std::string beginning = "\xAF\x12\0\4\0\0"s;
  BinaryPropertyList list(2);
  for (std::size_t number = 0; number <= 0xAF12; ++number) list.add("\x08");
  std::string references;
  for (std::size_t index = 0; index < arrays; ++index) {
    const std::size_t number = list.add(beginning);
    references += {static_cast<char>(number >> 8), static_cast<char>(number & 0xFF)};
  }
  list.add(std::string(2U << 18, '\0'));
  return list.file(list.add("\xAF\x11\x4E\x20" + references));
}

TEST(PropertyList, hostileFileTakesMoreThanLinearTime) {
  const std::size_t size = 1U << 20;
  const std::string entityBomb = "<!DOCTYPE plist [<!ENTITY a \"" + repeated("&a;", 1000) +
                                 "\">]>" +
                                 xmlValue("<string>" + repeated("&a;", 1000) + "</string>");
  double start = systemUptime();
  expectLabels({
      {sharedArrays(), "a"},
      {sharedKey(1U << 20), missing_},
      {overlappingArrays(), refused},
      {entityBomb, refused},
      {"<!DOCTYPE plist [<!ENTITY a SYSTEM \"file:///etc/hostname\">]>" +
           xmlValue("<string>&a;</string>"),
       refused},
  });
  EXPECT_LT(systemUptime() - start, 3);
  for (const std::string_view piece :
       {"<!-- ", "<!",  "<?", "<!DOCTYPE [", "<![CDATA[", "]]",   "&",        "&#", "-",
        "<",     "<a",  " ",  "0",           "/* ",       "/",    "//",       "\"", "\\",
        "\\U",   "'\"", "{",  "=",           "a;",        "a=b;", "\xE2\x80", "%"}) {
    start = systemUptime();
    const std::string many = repeated(piece, size / piece.size());
    (void)label(many);
    (void)label("<!DOCTYPE plist [" + many);
    (void)label(xmlValue("<string>" + many));
    (void)label(xmlBefore("<integer>" + many));
    (void)label("{ Label = a; k = \"" + many);
    EXPECT_LT(systemUptime() - start, 3) << piece;
  }
}

TEST(PropertyList, damagedFileYieldsAnotherValue) {
  const std::string entries = "<key>Label</key><string>label</string><key>k</key><data>AAAA</data>";
  const std::string files[] = {
      "<?xml version='1.0'?><!DOCTYPE plist [<!ENTITY a ''>]><!-- -->" + dict(entries),
      "{ /* c */ Label = 'label'; \"k\\U00e9\" = (<00>, {a = b;}); }",
      "Label = label; \"k\" = v;",
      "\xFF\xFE" + encoded<char16_t>(U"{ Label = label; }", false),
      binaryBefore("\xA2\1\1"),
  };
  for (const std::string& file : files) {
    for (std::size_t at = 0; at < file.size(); ++at) {
      const PropertyListString found = propertyListString(file.substr(0, at), "Label");
      if (found.outcome == PropertyListString::Outcome::found) {
        EXPECT_EQ(found.value, "label") << at << " of " << testing::PrintToString(file);
      }
      for (const char byte : {'\0', '\xFF', '<', '"', '\x5F'}) {
        std::string changed = file;
        changed[at] = byte;
        EXPECT_TRUE(decodeUTF8(propertyListString(changed, "Label").value)) << at;
      }
    }
  }
}

}  // namespace
}  // namespace velmora
