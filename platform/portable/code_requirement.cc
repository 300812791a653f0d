#include "platform/portable/code_requirement.h"

#include <algorithm>

#include "platform/platform_error.h"

namespace velmora {

// Reads from the front of the text; whatever it does not expect there ends the reading.
class CodeRequirement::Parser {
 public:
  explicit Parser(std::string_view text) : rest_(text) {}

  CodeRequirement parse() {
    CodeRequirement requirement;
    do {
      requirement.clauses_.push_back(clause());
    } while (accept("and"));
    if (!rest_.empty()) refuse();
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
    if (!rest_.starts_with(expected)) return false;
    const std::string_view behind = rest_.substr(expected.size());
    if (isWordCharacter(expected.back()) && !behind.empty() && isWordCharacter(behind.front())) {
      return false;
    }
    rest_ = behind;
    skipSpaces();
    return true;
  }

  void expect(std::string_view token) {
    if (!accept(token)) refuse();
  }

  // No escapes: neither value that the helper puts in needs one.
  std::string quotedText() {
    const std::size_t end = rest_.starts_with('"') ? rest_.find('"', 1) : std::string_view::npos;
    if (end == std::string_view::npos) refuse();
    std::string text(rest_.substr(1, end - 1));
    if (text.find('\\') != std::string::npos) refuse();
    rest_.remove_prefix(end + 1);
    skipSpaces();
    return text;
  }

  void skipSpaces() { rest_.remove_prefix(std::min(rest_.find_first_not_of(' '), rest_.size())); }

  static bool isWordCharacter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '.';
  }

  [[noreturn]] void refuse() const {
    throw PlatformError("read", "the code signing requirement",
                        "unexpected text at \"" + std::string(rest_) + "\"");
  }

  std::string_view rest_;
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
        break;
    }
    return true;
  });
}

}  // namespace velmora
