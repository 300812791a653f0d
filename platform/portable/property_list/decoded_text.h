// Text on its way from the bytes of a property list to a string.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/portable/property_list/reading_progress.h"

namespace velmora {

// What the bytes of strings are. Those in other encodings are made UTF-8 before they are read.
enum class StringEncoding { utf8, latin1 };

// Takes text as it is decoded, piece by piece, measures it, and keeps it if asked to.
class DecodedText {
 public:
  // Writes from the front of `kept`, if there is one. Text may be decoded within one string: what
  // is written never overtakes what is read, as long as it does not grow on the way.
  DecodedText(ReadingProgress& progress, StringEncoding encoding, std::string* kept = nullptr)
      : progress_(progress), encoding_(encoding), kept_(kept) {}

  // Appends bytes of the encoding. A character may be divided between two pieces. As in Apple's
  // strings, the byte A9 in the place of a UTF-8 character is U+FFFD: files with the copyright
  // sign of another encoding are about. There is no other such byte.
  void append(std::string_view bytes);

  // Appends a Unicode scalar value; one that is none makes the text unsound.
  void append(char32_t scalar);

  // Appends whole characters in UTF-8, whatever the encoding.
  void appendWhole(std::string_view utf8);

  // A byte-order mark at the beginning gets lost, as in Apple's strings; before all else.
  void dropByteOrderMark() { isMarkDropped_ = true; }

  // Ends the text, and cuts the string that keeps it to its length. False when it is not sound.
  bool finish();

  bool isSound() const { return isSound_; }
  std::size_t size() const { return size_; }
  ReadingProgress& progress() const { return progress_; }

 private:
  void appendPiece(std::string_view bytes);
  std::size_t appendLatin1(std::string_view bytes);
  std::size_t appendUTF8(std::string_view bytes);

  ReadingProgress& progress_;
  const StringEncoding encoding_;
  std::string* const kept_;
  std::string begun_;  // the bytes of a character that is not yet whole
  bool isSound_ = true;
  bool isMarkDropped_ = false;
  std::size_t size_ = 0;
};

// Decodes twice, first to measure, so that the string takes no more than its own size. Nothing when
// `decode`, which gets a DecodedText to fill, returns false, when the text is not sound, or when
// it is longer than `limit`.
template <typename Decode>
std::optional<std::string> decodedExactly(ReadingProgress& progress, StringEncoding encoding,
                                          std::size_t limit, Decode decode) {
  DecodedText measured(progress, encoding);
  if (!decode(measured) || !measured.finish() || measured.size() > limit) return std::nullopt;
  std::string text;
  text.reserve(measured.size());
  DecodedText kept(progress, encoding, &text);
  decode(kept);
  kept.finish();
  return text;
}

// Appends UTF-16. A surrogate without its partner becomes U+FFFD, as in a Swift String; false when
// there is one. A last unit cut short is passed over, as Apple's reader does.
bool appendUTF16(std::string_view bytes, bool isBigEndian, DecodedText& text);

// Appends UTF-32; a last unit cut short is passed over.
void appendUTF32(std::string_view bytes, bool isBigEndian, DecodedText& text);

constexpr char32_t replacementCharacter = 0xFFFD;

constexpr bool isHighSurrogate(char32_t unit) {
  return (unit & 0xFFFFFC00) == 0xD800;
}
constexpr bool isLowSurrogate(char32_t unit) {
  return (unit & 0xFFFFFC00) == 0xDC00;
}
constexpr char32_t scalarOfSurrogates(char32_t high, char32_t low) {
  return 0x10000 + ((high & 0x3FF) << 10 | (low & 0x3FF));
}

}  // namespace velmora
