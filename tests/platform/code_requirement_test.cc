#include "platform/linux/code_requirement.h"

#include <gtest/gtest.h>

#include "platform/platform_error.h"

namespace velmora {
namespace {

using namespace std::string_literals;

TEST(CodeRequirement, takesTextItDoesNotUnderstandOrRefusesClauses) {
  const std::string identifier = "identifier \"com.velmora.app\"";
  for (const std::string& text :
       {"certificate  leaf [ subject.OU ]=\"TEAM42\"and anchor apple generic "s,
        identifier + " and anchor apple generic and certificate leaf[subject.OU] = \"TEAM42\""}) {
    EXPECT_NO_THROW((void)CodeRequirement::parse(text)) << text;
  }
  // Several cases stand on a line, which clang-format would spread.
  // clang-format off
  for (const std::string& text : {
      ""s, " " + identifier, identifier + " or " + identifier, identifier + " and",
      identifier + " " + identifier, identifier + " and ! " + identifier, "not " + identifier,
      identifier + "\0"s, identifier + " and true", "identifier \"a"s, "identifier \"a\\b\""s,
      "identifier = \"a\""s, "anchor apple"s, "certificate leaf[subject.CN] = \"A\""s,
      "certificate root[subject.OU] = \"A\""s, "certificate leaf[subject.OU] = A"s}) {
    EXPECT_THROW((void)CodeRequirement::parse(text), PlatformError) << text;
  }
  // clang-format on
}

}  // namespace
}  // namespace velmora
