#include "platform/text.h"

#include <stdexcept>

#include "platform/darwin/foundation_text.h"
#include "platform/portable/text/scalars.h"
#include "platform/utf8.h"

namespace velmora {
namespace {

// Foundation orders the marks of one character by exchanging neighbours, in the square of their
// number. No label has so many.
constexpr std::size_t mostMarksInARow = 256;

bool canBeOrdered(std::string_view text) {
  NSCharacterSet* marks = [NSCharacterSet nonBaseCharacterSet];
  return hasFewMarksInARow(text, mostMarksInARow, [&](char32_t value) {
    return [marks longCharacterIsMember:value] == YES;
  });
}

}  // namespace

std::string trimWhitespaceAndNewlines(std::string_view text) {
  @autoreleasepool {
    NSCharacterSet* trimmed = [NSCharacterSet whitespaceAndNewlineCharacterSet];
    return utf8Text([foundationText(text) stringByTrimmingCharactersInSet:trimmed]);
  }
}

// A text with more marks in a row is its own form, and so equivalent to none but itself.
std::string canonicalForm(std::string_view text) {
  if (!isUTF8(text)) throw std::invalid_argument("the text is not UTF-8");
  @autoreleasepool {
    if (!canBeOrdered(text)) return std::string(text);
    return utf8Text([foundationText(text) decomposedStringWithCanonicalMapping]);
  }
}

// One scalar at a time: Foundation's mapping of a whole text knows the sigma at a word's end.
std::string lowercased(std::string_view text) {
  std::string result;
  everyScalar(text, [&](char32_t /*value*/, std::string_view part) {
    @autoreleasepool {
      result += utf8Text([foundationText(part) lowercaseString]);
      return true;
    }
  });
  return result;
}

bool isAlphanumericExcept(std::string_view text, std::string_view others) {
  @autoreleasepool {
    NSCharacterSet* alphanumeric = [NSCharacterSet alphanumericCharacterSet];
    return everyScalar(text, [&](char32_t value, std::string_view part) {
      return (part.size() == 1 && others.find(part) != std::string_view::npos) ||
             (isScalar(value) && [alphanumeric longCharacterIsMember:value]);
    });
  }
}

bool beginsWithCharacter(std::string_view text, char character) {
  if (!text.starts_with(character)) return false;
  @autoreleasepool {
    return [foundationText(text) rangeOfComposedCharacterSequenceAtIndex:0].length == 1;
  }
}

std::size_t userPerceivedCharacterCount(std::string_view text) {
  @autoreleasepool {
    NSString* characters = foundationText(text);
    std::size_t count = 0;
    for (NSUInteger at = 0; at < [characters length]; ++count) {
      const NSRange character = [characters rangeOfComposedCharacterSequenceAtIndex:at];
      at = character.location + character.length;
    }
    return count;
  }
}

}  // namespace velmora
