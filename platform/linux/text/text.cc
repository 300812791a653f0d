#include "platform/text.h"

#include <utf8proc.h>

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "platform/portable/text/ascii.h"
#include "platform/portable/text/scalars.h"
#include "platform/utf8.h"

namespace velmora {
namespace {

utf8proc_category_t categoryOf(char32_t value) {
  return utf8proc_category(static_cast<utf8proc_int32_t>(value));
}

bool isWhitespaceOrNewline(char32_t value) {
  if ((value >= 0x09 && value <= 0x0D) || value == 0x85 || value == 0x200B) return true;
  const utf8proc_category_t category = categoryOf(value);
  return category == UTF8PROC_CATEGORY_ZS || category == UTF8PROC_CATEGORY_ZL ||
         category == UTF8PROC_CATEGORY_ZP;
}

// The categories of letters, marks and numbers stand side by side in the library's enumeration.
bool isAlphanumeric(char32_t value) {
  if (value < 0x80) return isASCIILetterOrDigit(static_cast<char>(value));
  const utf8proc_category_t category = categoryOf(value);
  return category >= UTF8PROC_CATEGORY_LU && category <= UTF8PROC_CATEGORY_NO;
}

// In bytes, of the first one of `text`, which is not empty.
std::size_t userPerceivedCharacterLength(std::string_view text) {
  utf8proc_int32_t state = 0;
  Scalar last = firstScalar(text);
  std::size_t size = last.length;
  while (size < text.size()) {
    const Scalar next = firstScalar(text.substr(size));
    if (utf8proc_grapheme_break_stateful(static_cast<utf8proc_int32_t>(last.value),
                                         static_cast<utf8proc_int32_t>(next.value), &state)) {
      break;
    }
    size += next.length;
    last = next;
  }
  return size;
}

}  // namespace

std::string trimWhitespaceAndNewlines(std::string_view text) {
  std::size_t begin = text.size();
  std::size_t end = 0;
  for (std::size_t at = 0; at < text.size();) {
    const Scalar scalar = firstScalar(text.substr(at));
    if (!isWhitespaceOrNewline(scalar.value)) {
      begin = std::min(begin, at);
      end = at + scalar.length;
    }
    at += scalar.length;
  }
  return begin < end ? std::string(text.substr(begin, end - begin)) : std::string();
}

std::string lowercased(std::string_view text) {
  std::string result;
  if (isASCII(text)) {
    std::ranges::transform(text, std::back_inserter(result), lowercasedASCII);
    return result;
  }
  constexpr char32_t capitalIWithDotAbove = 0x130;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const Scalar scalar = firstScalar(text.substr(at));
    // The one character whose full mapping is longer than the library's simple one.
    if (scalar.value == capitalIWithDotAbove) {
      result += "i\u0307";
    } else {
      const auto value = static_cast<utf8proc_int32_t>(scalar.value);
      appendScalar(result, static_cast<char32_t>(utf8proc_tolower(value)));
    }
    at += scalar.length;
  }
  return result;
}

bool isAlphanumericExcept(std::string_view text, std::string_view others) {
  return everyScalar(text, [&](char32_t value, std::string_view part) {
    return (part.size() == 1 && others.find(part) != std::string_view::npos) ||
           isAlphanumeric(value);
  });
}

bool beginsWithCharacter(std::string_view text, char character) {
  return text.starts_with(character) && userPerceivedCharacterLength(text) == 1;
}

std::size_t userPerceivedCharacterCount(std::string_view text) {
  std::size_t count = 0;
  for (; !text.empty(); ++count) text.remove_prefix(userPerceivedCharacterLength(text));
  return count;
}

}  // namespace velmora
