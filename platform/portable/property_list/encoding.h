// The encodings that the text of a property list may stand in, and the way to UTF-8.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velmora {

// The text of the XML or OpenStep property list `bytes`, without its byte-order mark, in UTF-8;
// nothing when its encoding is not known, or it is UTF-16 or UTF-32 with a fault in it. UTF-8
// itself is not checked: Apple's reader does so in strings only, not in comments.
// The encoding is told by a byte-order mark or an XML declaration (UTF-8, US-ASCII and ISO-8859-1,
// and any other superset of ASCII as long as every byte is ASCII); without either it is UTF-8.
// UTF-16 without a byte-order mark is refused, as in effect by Apple's reader, which loses its
// first character. The text lies in `bytes` or in `storage`, and lives as long as both.
std::optional<std::string_view> propertyListText(std::string_view bytes, std::string& storage);

// Makes UTF-8 of UTF-16 code units as they come. A surrogate without its partner becomes U+FFFD,
// as in a Swift String.
class UTF16Decoder {
 public:
  void append(char16_t unit);
  void append(std::string_view utf8);

  // Whether a surrogate without its partner has come.
  bool isLossy() const { return lossy_; }

  std::string finish();

 private:
  void closeSurrogate();

  std::string text_;
  char16_t highSurrogate_ = 0;  // waits for its partner
  bool lossy_ = false;
};

// `bytes` as text, or nothing when they are not UTF-8. As in Apple's strings, the byte A9 in the
// place of a character is read as U+FFFD: files with the copyright sign of another encoding are
// about. There is no other such byte.
std::optional<std::string> utf8OfNearUTF8(std::string_view bytes);

// The text of these bytes in UTF-8. The first takes two bytes for a unit, as UTF16Decoder does.
std::string utf8OfUTF16BigEndian(std::string_view bytes);
std::string utf8OfLatin1(std::string_view bytes);

}  // namespace velmora
