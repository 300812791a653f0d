#include "platform/property_list.h"

#include <gtest/gtest.h>

#include <utility>

#include "platform/binary_property_list.h"
#include "platform/process_info.h"

namespace velmora {
namespace {

using namespace std::string_literals;

std::string label(std::string_view bytes) {
  constexpr const char* names[] = {"", "<refused>", "<no dictionary>", "<missing>", "<no string>"};
  const PropertyListString found = propertyListString(bytes, "Label");
  return names[static_cast<int>(found.outcome)] + found.value;
}

const std::string refused = "<refused>", noDictionary = "<no dictionary>", missing_ = "<missing>",
                  noString = "<no string>";

std::string asIs(const std::string& file) {
  return file;
}
std::string dict(const std::string& entries) {
  return "<plist version=\"1.0\"><dict>" + entries + "</dict></plist>";
}
std::string xmlValue(const std::string& value) {
  return dict("<key>Label</key>" + value);
}
std::string xmlBefore(const std::string& value) {
  return xmlValue("<string>a</string><key>k</key>" + value);
}
std::string xmlElement(const std::string& start) {
  return xmlBefore("<" + start + "/" + start.substr(0, start.find('>')) + ">");
}
std::string textValue(const std::string& value) {
  return "{ Label = " + value + "; }";
}
std::string textBefore(const std::string& value) {
  return textValue("a; k = " + value);
}

// What `file` makes of each body must yield `expected`.
void expectEach(const std::string& expected, std::string (*file)(const std::string&),
                std::initializer_list<std::string> bodies) {
  for (const std::string& body : bodies) {
    EXPECT_EQ(label(file(body)), expected) << testing::PrintToString(body);
  }
}

// The tables hold several cases to a line, which clang-format would spread over hundreds.
// clang-format off

TEST(PropertyList, xmlReaderIsStricterThanApples) {
  const std::string a = "<string>a</string>";
  expectEach("a", asIs, {
      "<dict><key>Label</key><string>a</string></dict>", xmlValue(a) + "behind",
      "<!-- a -- \xFF --><!DOCTYPE plist><!---->" + xmlValue("<!-- -- -->" + a),
      "<!DOCTYPE plist [<!ENTITY a \"b\"> %x; <?p?><!-- > --> ] >" + xmlValue(a)});
  expectEach("a", xmlValue, {
      "<?a?><!---><string x='y' >a</string\n>", "<string>\uFEFFa</string>", "<key>a</key>",
      "<plist><string>a</string></plist>", "<string>b</string><key>Label</key>" + a});
  expectEach("<>&'\"\u00E9\u00E9\U0001F600<&b>]]c", xmlValue, {
      "<string>&lt;&gt;&amp;&apos;&quot;&#233;&#xe9;&#x1F600;<![CDATA[<&b>]]]]>c</string>"});
  expectEach("", xmlValue, {"<string/>"});
  expectEach("\u00E9", asIs, {
      "<?xml version='1.0' encoding='ISO-8859-1'?>" + xmlValue("<string>\xE9</string>")});
  expectEach(noString, xmlValue, {a + "<key>Label</key><true/>"});
  expectEach("a", xmlElement, {
      "integer>0<", "integer> -\t0x7fFF<", "integer>+18446744073709551615<",
      "integer>-9223372036854775808<", "real>-.5e-3<", "real> 1.<", "real>+InFinity<", "real>nan<",
      "real>&#49;<", "date>-12-34-56T78:90:12Z<", "data>a b=!<", "data><", "true><"});
}

TEST(PropertyList, xmlReaderIsLaxerThanApples) {
  expectEach(refused, asIs, {
      "", "<plist/>", "<plist></plist>", "<plist><dict/><dict/></plist>", "</dict>",
      "<dict><></dict>", "<dict><key>Label</key><string>a</string></array>",
      dict("<key>Label</key>"), dict("<string>Label</string><string>a</string>"),
      dict("<plist><key>Label</key></plist><string>a</string>"),
      "<!ELEMENT a>" + xmlBefore("<true/>"),
      "<?xml version='1.0' encoding='EBCDIC'?>" + xmlBefore("<true/>"),
      "<!DOCTYPE plist [<!ENTITY a '>'> ]>" + xmlBefore("<true/>"),
      "<!DOCTYPE plist [<!ENTITY a SYSTEM '/etc/group'>]>" + xmlValue("<string>&a;</string>")});
  expectEach(refused, xmlValue, {
      "<string>a</string>text", "<string>a<!-- --></string>", "<string>a</key>",
      "<string>&nbsp;</string>", "<string>&#xD800;</string>", "<string>&#x110000;</string>",
      "<string>&#1a;</string>", "<string>&#000000065;</string>", "<string>\xFF</string>"});
  expectEach(refused, xmlBefore, {"<blob/>", "<array><true/></dict>", "<integer/>", "<real/>",
                                  "<date/>", "<data/>", "<plist/>"});
  expectEach(refused, xmlElement, {
      "integer><", "integer>0x<", "integer>-<", "integer>1 <", "integer>18446744073709551616<",
      "integer>-9223372036854775809<", "real><", "real>1.e<", "real>.<", "real>1 <", "real>+nan<",
      "real>infinity1<", "date><", "date>2020-01-01<", "date>2020-1-01T00:00:00Z<",
      "date>2020-01-01T00:00:00Z <", "data>\x80<", "true> <"});
}

TEST(PropertyList, oldTextReaderDiffersFromApples) {
  expectEach("a", asIs, {
      "\uFEFF// c\n/* c */ { /**/ Label /* ; */ = // }\r a ; } /* open", "Label = a; } behind",
      "{\u2028Label =\u2029 a;}//\u2028", "\"Label\" = \"a\"; other;", "Label = b; Label = a;"});
  expectEach("a", textBefore, {"(a, (), { k = v; }, <0f 0F>, )"});
  expectEach("a.b-c_d/e:$", textValue, {"a.b-c_d/e:$"});
  expectEach("a\"b", textValue, {"'a\"b'"});
  expectEach("\a\b\f\n\r\t\v\"\\'qu0041\u00E9\n", textValue, {
      R"("\a\b\f\n\r\t\v\"\\\'\q\u0041)" "\\\u00E9\\\n\""});
  expectEach("\u00E9\U0001F600\uFFFDxAg\0"s, textValue, {R"("\U00e9\Ud83d\Ude00\Ud83dx\U41g\U")"});
  expectEach("A\0\u00C6\u02CB2\0\1"s + "8", textValue, {R"("\101\0\341\3012\777\18")"});
  expectEach("Label", asIs, {"Label;"});
  expectEach(missing_, asIs, {" /* only */ // a comment"});
  expectEach(noDictionary, asIs, {"lone", "'lone'", "( { Label = a; } )", "<61>"});
  expectEach(noString, textValue, {"a; Label = { x = y; }", "(a)", "<61>"});
  expectEach(refused, asIs, {
      "{ Label = a }", "{ Label = a;", "{ Label = a; } behind", "{ Label a; }", "{ (a) = b; }",
      "{ Label = ; }", "{ Label = \"a; }", "{ Label = \"a\\", "Label = a", "Label = a; k"});
  expectEach(refused, textBefore, {"(a b)", "(,)", "<6>", "<6 1>", "<g0>", "\"\xFF\""});
}

// A dictionary with the label "a" and one entry more; its value is the last object, so that one
// that is too long runs into the table.
std::string binaryEntry(std::string_view key, std::string_view value) {
  BinaryPropertyList list;
  const std::size_t labelKey = list.addString("Label"), a = list.addString("a");
  const std::size_t other = list.add(key);
  const std::size_t top = list.add("\xD2", {labelKey, other, a, 4});
  list.add(value);
  return list.file(top);
}
std::string binaryBefore(const std::string& value) {
  return binaryEntry("\x51k", value);
}
std::string binaryValue(const std::string& value) {
  BinaryPropertyList list;
  const std::size_t key = list.add("\x65\0L\0a\0b\0e\0l"s), label = list.add(value);
  return list.file(list.add("\xD1", {key, label}));
}

TEST(PropertyList, binaryReaderDiffersFromApples) {
  expectEach("ab", binaryValue, {"\x5F\x11\0\2ab"s, "\x62\0a\0b"s});
  expectEach("", binaryValue, {"\x5F\x10\0"s});
  expectEach("\u00E9", binaryValue, {"\x51\xE9"});
  expectEach("a\uFFFD\U0001F600\uFFFD", binaryValue, {"\x65\0a\xD8\0\xD8\x3D\xDE\0\xDC\0"s});
  expectEach("a", asIs, {binaryEntry("\x55Label", "\x51z"), binaryEntry("\x56Labels", "\x51z")});
  expectEach(noDictionary, asIs, {binaryEntry("\x10\1", "\x51z"), binaryEntry("\0"s, "\x51z")});
  expectEach(refused, asIs, {binaryEntry("\xA0", "\x51z"), binaryEntry("\xD0", "\x51z")});
  for (const bool isLabel : {false, true}) {
    expectEach(isLabel ? noString : "a", isLabel ? binaryValue : binaryBefore, {
        "\0"s, "\x08", "\x09", "\x10z", "\x14" + std::string(16, '\xFF'), "\x22zzzz",
        "\x23zzzzzzzz", "\x33zzzzzzzz", "\x42zz", "\x80z", "\x87\0\0\0\0\xFF\xFF\xFF\xFF"s,
        "\xA0", "\xC0", "\xD0"});
  }
  expectEach(refused, binaryBefore, {
      "\x0F", "\x15" + std::string(32, 'z'), "\x24" + std::string(16, 'z'), "\x32zzzzzzzz",
      "\x84\1\0\0\0\0"s, "\xB0", "\x70", "\xE0", "\xA1\xFF", "\x4F\x20\1z"s, "\x4F\x10", "\x42z",
      "\x5F\x13\x7F" + std::string(7, '\xFF')});
}

TEST(PropertyList, trailerThatLiesIsBelieved) {
  const std::string sound = binaryValue("\x51z");
  const auto with = [&sound](std::size_t fromEnd, char byte) {
    std::string bytes = sound;
    bytes[bytes.size() - fromEnd] = byte;
    return bytes;
  };
  const std::size_t size = sound.size();
  // Any character is a version, and six bytes are unused.
  expectEach("z", asIs, {sound, with(size - 7, '9'), with(32, '\1')});
  for (const auto& [fromEnd, byte] : std::initializer_list<std::pair<std::size_t, int>>{
      {size - 6, '1'}, {26, 0}, {26, 3}, {26, 0xFF}, {25, 0}, {25, 0xFF}, {24, 0x7F}, {17, 0},
      {17, 4}, {17, 2}, {9, 3}, {8, 0x7F}, {1, 0}, {1, 0x1A}, {36, 0x7F}, {33, 0}, {33, 0x7F}}) {
    EXPECT_EQ(label(with(fromEnd, static_cast<char>(byte))), refused) << fromEnd << ' ' << byte;
  }
}

// clang-format on

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

TEST(PropertyList, textOfAnotherEncodingIsMisread) {
  const std::u32string pair = {0xD83D, 0xDE00};
  const auto quoted = [](const std::u32string& text) {
    return U"\uFEFF{ Label = \"" + text + U"\"; }";
  };
  for (const bool isBigEndian : {false, true}) {
    for (const std::u32string& text :
         {quoted(U"\u00E9"), U"\uFEFF<dict><key>Label</key><string>\u00E9</string></dict>"s}) {
      EXPECT_EQ(label(encoded<char16_t>(text, isBigEndian)), "\u00E9");
      EXPECT_EQ(label(encoded<char32_t>(text, isBigEndian)), "\u00E9");
      EXPECT_EQ(label(encoded<char16_t>(text.substr(1), isBigEndian)), refused) << "no mark";
    }
    EXPECT_EQ(label(encoded<char16_t>(quoted(pair), isBigEndian)), "\U0001F600");
    EXPECT_EQ(label(encoded<char32_t>(quoted(pair), isBigEndian)), refused);
    for (const std::u32string& lone : {std::u32string{0xD800}, {0xDC00}, char32_t{0xD800} + pair}) {
      EXPECT_EQ(label(encoded<char16_t>(quoted(lone), isBigEndian)), refused);
    }
  }
}

std::string repeated(std::string_view text, std::size_t times) {
  std::string result;
  for (std::size_t time = 0; time < times; ++time) result += text;
  return result;
}

// Under a label, an array that holds an array of `width` references to the next, and so on; the
// last holds the object `last`, or nothing.
std::string arrays(std::size_t depth, std::size_t width, std::initializer_list<std::size_t> last) {
  BinaryPropertyList list(4);
  const std::size_t key = list.addString("Label"), a = list.addString("a");
  const std::size_t top = list.add("\xD2", {key, a, a, 3});
  for (std::size_t next = 4; next < 3 + depth; ++next) {
    width == 1 ? list.add("\xA1", {next}) : list.add("\xA2", {next, next});
  }
  list.add(last.size() == 0 ? "\xA0" : "\xA1", last);
  return list.file(top);
}

TEST(PropertyList, depthIsPaidForWithStackOrCycleIsFollowedForEver) {
  const std::size_t depth = 1'000'000;
  expectEach("a", asIs,
             {xmlBefore(repeated("<array>", depth) + repeated("</array>", depth)),
              xmlBefore(repeated("<dict><key/>", depth) + "<true/>" + repeated("</dict>", depth)),
              textBefore(repeated("(", depth) + repeated(")", depth)),
              textBefore(repeated("{k=", depth) + "v" + repeated(";}", depth)),
              arrays(depth, 1, {}), arrays(20, 1, {1})});
  const std::string plists = repeated("<plist>", depth) + "<dict/>" + repeated("</plist>", depth);
  expectEach(missing_, asIs, {plists});
  // Apple's reader starts to look for cycles at a certain depth.
  expectEach(refused, asIs, {repeated("<dict>", depth), repeated("(", depth), arrays(20, 1, {3})});
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
  BinaryPropertyList list(2);
  for (std::size_t number = 0; number <= 0xAF12; ++number) list.add("\x08");
  std::string references;
  for (std::size_t index = 0; index < arrays; ++index) {
    const std::size_t number = list.add("\xAF\x12\0\4\0\0"s);
    references += {static_cast<char>(number >> 8), static_cast<char>(number & 0xFF)};
  }
  list.add(std::string(2U << 18, '\0'));
  return list.file(list.add("\xAF\x11\x4E\x20" + references));
}

TEST(PropertyList, hostileFileTakesMoreThanLinearTime) {
  double start = systemUptime();
  expectEach("a", asIs, {arrays(60, 2, {})});  // 2^60 to who follows every reference
  expectEach(missing_, asIs, {sharedKey(1U << 20)});
  expectEach(refused, asIs, {overlappingArrays()});
  EXPECT_LT(systemUptime() - start, 3);
  const std::size_t size = 1U << 20;
  for (const std::string_view piece :
       {"<!-- ", "<!",  "<?", "<!DOCTYPE [", "<![CDATA[", "]]",   "&",        "&#", "-",
        "<",     "<a",  " ",  "0",           "/* ",       "/",    "//",       "\"", "\\",
        "\\U",   "'\"", "{",  "=",           "a;",        "a=b;", "\xE2\x80", "%"}) {
    start = systemUptime();
    const std::string many = repeated(piece, size / piece.size());
    for (const std::string& file : {many, "<!DOCTYPE plist [" + many, xmlValue("<string>" + many),
                                    xmlBefore("<integer>" + many), textBefore("\"" + many)}) {
      (void)label(file);
    }
    EXPECT_LT(systemUptime() - start, 3) << piece;
  }
}

}  // namespace
}  // namespace velmora
