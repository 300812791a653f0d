// The text of XML and OpenStep property lists, whatever encoding it stands in.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/portable/property_list/decoded_text.h"
#include "platform/portable/property_list/reading_progress.h"

namespace velmora {

// The text lies in the file itself where its bytes can be read as they are; UTF-16 and UTF-32 are
// made UTF-8 first.
class PropertyListText {
 public:
  // The text of the property list `bytes`, which live longer, without its byte-order mark; nothing
  // when there is no text or its encoding is not known, or it is UTF-16 or UTF-32 with a fault in
  // it. UTF-8 itself is not checked: Apple's reader does so in strings only, not in comments.
  // The encoding is told by a byte-order mark or an XML declaration (UTF-8, US-ASCII and
  // ISO-8859-1, and any other superset of ASCII as long as every byte is ASCII); without either it
  // is UTF-8. UTF-16 without a byte-order mark is refused, as in effect by Apple's reader, which
  // loses its first character.
  static std::optional<PropertyListText> of(std::string_view bytes, ReadingProgress& progress);

  std::string_view text() const { return isConverted_ ? std::string_view(converted_) : inFile_; }
  StringEncoding encoding() const { return encoding_; }

  // The string that `decode` makes of `part` of the text; nothing when it is larger than twice the
  // file. Where the text had to be converted, the string takes its place, so that the file is never
  // in memory as often as three times.
  template <typename Decode>
  std::optional<std::string> takeString(std::string_view part, ReadingProgress& progress,
                                        Decode decode) && {
    const auto decodePart = [&](DecodedText& decoded) { return decode(part, decoded); };
    if (!isConverted_ || part.size() <= fileSize_ / 2) {
      return decodedExactly(progress, encoding_, 2 * fileSize_, decodePart);
    }
    DecodedText decoded(progress, encoding_, &converted_);
    if (!decodePart(decoded) || !decoded.finish()) return std::nullopt;
    return std::move(converted_);
  }

 private:
  PropertyListText(std::string_view inFile, StringEncoding encoding)
      : fileSize_(inFile.size()), inFile_(inFile), encoding_(encoding) {}
  PropertyListText(std::string converted, std::size_t fileSize)
      : fileSize_(fileSize), converted_(std::move(converted)), isConverted_(true) {}

  static std::optional<PropertyListText> convert(std::string_view bytes, std::size_t unitSize,
                                                 bool isBigEndian, ReadingProgress& progress);

  std::size_t fileSize_;
  std::string_view inFile_;
  std::string converted_;
  bool isConverted_ = false;
  StringEncoding encoding_ = StringEncoding::utf8;
};

}  // namespace velmora
