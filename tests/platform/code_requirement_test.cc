#include "platform/linux/code_requirement.h"

#include <gtest/gtest.h>

#include "platform/platform_error.h"
#include "platform/process_info.h"

namespace velmora {
namespace {

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
  const std::string texts[] = {
      "",
      " " + identifier,
      identifier + " or " + team,
      identifier + " and",
      "and " + identifier,
      identifier + " " + team,
      identifier + " and and " + team,
      identifier + " and ! " + team,
      "not " + identifier,
      "(" + identifier + ")",
      identifier + ";",
      identifier + "\n",
      identifier + std::string(1, '\0'),
      identifier + " and true",
      "identifier com.velmora.app",
      "identifier \"com.velmora.app",
      "identifier com.velmora.app\"",
      "identifier 'com.velmora.app'",
      "identifier \"a\\\"b\"",
      "identifiers \"com.velmora.app\"",
      "Identifier \"com.velmora.app\"",
      "identifier = \"com.velmora.app\"",
      "anchor apple",
      "anchorapple generic",
      "anchor applegeneric",
      "anchor apple generics",
      "anchor apple generic andidentifier \"a\"",
      "anchor trusted",
      "certificate leaf[subject.CN] = \"TEAM42\"",
      "certificate leaf[subject.OU.x] = \"TEAM42\"",
      "certificate root[subject.OU] = \"TEAM42\"",
      "certificate 1[subject.OU] = \"TEAM42\"",
      "certificateleaf[subject.OU] = \"TEAM42\"",
      "certificate leaf[subject.OU] \"TEAM42\"",
      "certificate leaf[subject.OU] == \"TEAM42\"",
      "certificate leaf[subject.OU] = TEAM42",
  };
  for (const std::string& text : texts) {
    EXPECT_THROW((void)CodeRequirement::parse(text), PlatformError) << text;
  }
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
