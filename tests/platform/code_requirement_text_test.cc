#include "platform/code_requirement_text.h"

#include <gtest/gtest.h>

namespace velmora {
namespace {

using namespace std::string_literals;

TEST(CodeRequirementText, splicesUnsafeTeamIntoRequirement) {
  EXPECT_TRUE(codeRequirementText("a", "AZaz09").value().ends_with(" = \"AZaz09\""));
  for (const std::string& team :
       {""s, "TEAM42 "s, "T\""s, "TEAM-42"s, "T\u00C9AM"s, "TEAM\u0301"s, "TEAM\uFF14"s, "T\0M"s,
        "TEAM42\n"s, "@"s, "["s, "`"s, "{"s, "/"s, ":"s, "TEAM_42"s, "\xFF"s}) {
    EXPECT_EQ(codeRequirementText("a", team), std::nullopt) << testing::PrintToString(team);
  }
}

}  // namespace
}  // namespace velmora
