// The part of Apple's code signing requirement language that the helper writes: clauses about
// identifier, anchor and team, joined by "and".
// https://developer.apple.com/library/archive/documentation/Security/Conceptual/CodeSigningGuide/
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

class CodeRequirement {
 public:
  // Reads
  //   identifier "…"
  //   anchor apple generic
  //   certificate leaf[subject.OU] = "…"
  // in any number and order, joined by "and". Raises PlatformError on anything else.
  static CodeRequirement parse(std::string_view text);

  // Whether every clause holds for a trusted signature of `identifier` and `teamIdentifier`. The
  // anchor clause says no more than that it is trusted.
  bool isSatisfiedBy(std::string_view identifier,
                     const std::optional<std::string>& teamIdentifier) const;

 private:
  enum class Subject { identifier, anchor, organizationalUnit };
  struct Clause {
    Subject subject;
    std::string value;
  };
  class Parser;

  std::vector<Clause> clauses_;
};

}  // namespace velmora
