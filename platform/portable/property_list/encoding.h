// The text of XML and OpenStep property lists, whatever encoding it stands in.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/portable/property_list/decoded_text.h"
#include "platform/portable/property_list/reading_progress.h"
#include "platform/property_list.h"

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
  ReadingProgress& progress() const { return *progress_; }

  // Appends to `into` what a part of the text stands for; false when it is not sound.
  using Decode = bool(std::string_view part, DecodedText& into);

  // The string that `decode` makes of `part`; nothing when it is longer than `limit`.
  std::optional<std::string> string(std::string_view part, std::size_t limit, Decode& decode) const;

  // As the value that was found; no string when it is longer than twice the file. Where the text
  // had to be converted, the string takes its place, so that the file is never in memory more than
  // three times.
  PropertyListString takeString(std::string_view part, Decode& decode) &&;

 private:
  PropertyListText(std::size_t fileSize, ReadingProgress& progress)
      : fileSize_(fileSize), progress_(&progress) {}

  static std::optional<PropertyListText> convert(std::string_view bytes, std::size_t unitSize,
                                                 bool isBigEndian, ReadingProgress& progress);

  std::size_t fileSize_;
  ReadingProgress* progress_;
  StringEncoding encoding_ = StringEncoding::utf8;
  std::string_view inFile_;
  std::string converted_;
  bool isConverted_ = false;
};

}  // namespace velmora
