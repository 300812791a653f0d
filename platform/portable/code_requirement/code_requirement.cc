#include "platform/portable/code_requirement/code_requirement.h"

#include <algorithm>

#include "platform/platform_error.h"
#include "platform/portable/text/cursor.h"
#include "platform/unreachable.h"

namespace velmora {

// Reads from the front of the text; whatever it does not expect there ends the reading.
class CodeRequirement::Parser {
 public:
  explicit Parser(std::string_view text) : cursor_(text) {}

  CodeRequirement parse() {
    CodeRequirement requirement;
    do {
      requirement.clauses_.push_back(clause());
    } while (accept("and"));
    if (!cursor_.isAtEnd()) refuse();
    return requirement;
  }

 private:
  Clause clause() {
    if (accept("identifier")) return {Subject::identifier, quotedText()};
    if (accept("anchor")) {
      expect("apple");
      expect("generic");
      return {Subject::anchor, {}};
    }
    for (const char* token : {"certificate", "leaf", "[", "subject.OU", "]", "="}) expect(token);
    return {Subject::organizationalUnit, quotedText()};
  }

  // Takes the token at the front if it is `expected`, and the spaces behind it. A word ends where
  // no letter or digit follows.
  bool accept(std::string_view expected) {
    Cursor behind = cursor_;
    if (!behind.accept(expected)) return false;
    if (isWordCharacter(expected.back()) && !behind.isAtEnd() &&
        isWordCharacter(behind.rest().front())) {
      return false;
    }
    cursor_ = behind;
    skipSpaces();
    return true;
  }

  void expect(std::string_view token) {
    if (!accept(token)) refuse();
  }

  // No escapes: neither value that the helper puts in needs one.
  std::string quotedText() {
    Cursor behind = cursor_;
    const bool isQuoted = behind.accept("\"");
    std::string text(behind.takeWhile([](char character) { return character != '"'; }));
    if (!isQuoted || !behind.accept("\"") || text.find('\\') != std::string::npos) refuse();
    cursor_ = behind;
    skipSpaces();
    return text;
  }

  void skipSpaces() {
    cursor_.takeWhile([](char character) { return character == ' '; });
  }

  static bool isWordCharacter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '.';
  }

  [[noreturn]] void refuse() const {
    throw PlatformError("read", "the code signing requirement",
                        "unexpected text at \"" + std::string(cursor_.rest()) + "\"");
  }

  Cursor cursor_;
};

CodeRequirement CodeRequirement::parse(std::string_view text) {
  return Parser(text).parse();
}

bool CodeRequirement::isSatisfiedBy(std::string_view identifier,
                                    const std::optional<std::string>& teamIdentifier) const {
  return std::ranges::all_of(clauses_, [&](const Clause& clause) {
    switch (clause.subject) {
      case Subject::identifier:
        return identifier == clause.value;
      case Subject::organizationalUnit:
        return teamIdentifier == clause.value;
      case Subject::anchor:
        return true;
    }
    unreachable();
  });
}

}  // namespace velmora
