#include "platform/linux/code_requirement.h"

#include <gtest/gtest.h>

#include "platform/platform_error.h"
#include "platform/process_info.h"

namespace velmora {
namespace {

using namespace std::string_literals;

const std::string identifier = "identifier \"com.velmora.app\"";
const std::string anchor = "anchor apple generic";
const std::string team = "certificate leaf[subject.OU] = \"TEAM42\"";

TEST(CodeRequirement, refusesClausesItKnows) {
  const std::string texts[] = {
      identifier + " and " + anchor + " and " + team, team + " and " + identifier, anchor,
      "certificate  leaf [ subject.OU ]=\"TEAM42\"and " + anchor + " ", "identifier\"\""};
  for (const std::string& text : texts) EXPECT_NO_THROW((void)CodeRequirement::parse(text)) << text;
}

TEST(CodeRequirement, takesTextItDoesNotUnderstand) {
  // Several cases stand on a line, which clang-format would spread.
  // clang-format off
  const std::string texts[] = {
      ""s, " " + identifier, identifier + " or " + team, identifier + " and", "and " + identifier,
      identifier + " " + team, identifier + " and and " + team, identifier + " and ! " + team,
      "not " + identifier, "(" + identifier + ")", identifier + ";", identifier + "\n",
      identifier + "\0"s, identifier + " and true", "identifier com.velmora.app"s,
      "identifier \"com.velmora.app"s, "identifier com.velmora.app\""s, "identifier 'a'"s,
      "identifier \"a\\b\""s, "identifiers \"a\""s, "Identifier \"a\""s, "identifier = \"a\""s,
      "anchor apple"s, "anchorapple generic"s, "anchor applegeneric"s, "anchor apple generics"s,
      "anchor apple generic andidentifier \"a\""s, "anchor trusted"s,
      "certificate leaf[subject.CN] = \"A\""s, "certificate leaf[subject.OU.x] = \"A\""s,
      "certificate root[subject.OU] = \"A\""s, "certificate 1[subject.OU] = \"A\""s,
      "certificateleaf[subject.OU] = \"A\""s, "certificate leaf[subject.OU] \"A\""s,
      "certificate leaf[subject.OU] == \"A\""s, "certificate leaf[subject.OU] = A"s};
  for (const std::string& text : texts) {
    EXPECT_THROW((void)CodeRequirement::parse(text), PlatformError) << text;
  }
  // clang-format on
}

TEST(CodeRequirement, readsLongTextInMoreThanLinearTime) {
  std::string clauses;
  while (clauses.size() < (1U << 20)) clauses += "identifier \"a\"     and ";
  const std::string texts[] = {clauses, std::string(1 << 20, ' '), std::string(1 << 20, '"'),
                               "identifier \"" + std::string(1 << 20, '\\')};
  const double start = systemUptime();
  for (const std::string& text : texts) {
    EXPECT_THROW((void)CodeRequirement::parse(text), PlatformError);
  }
  EXPECT_LT(systemUptime() - start, 3);
}

}  // namespace
}  // namespace velmora
