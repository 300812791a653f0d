// Admission, as far as it does not take a signed helper.
#include "front/maintenance_client_validator.h"

#include <gtest/gtest.h>

namespace velmora {
namespace {

using namespace std::string_literals;

TEST(MaintenanceClientValidator, splicesUnsafeTeamIntoRequirement) {
  EXPECT_TRUE(codeSigningRequirementForTeam("AZaz09").value().ends_with(" = \"AZaz09\""));
  for (const std::string& team :
       {""s, "TEAM42 "s, "T\""s, "TEAM-42"s, "T\u00C9AM"s, "TEAM\u0301"s, "TEAM\uFF14"s, "T\0M"s,
        "TEAM42\n"s, "@"s, "["s, "`"s, "{"s, "/"s, ":"s, "TEAM_42"s, "\xFF"s}) {
    EXPECT_EQ(codeSigningRequirementForTeam(team), std::nullopt) << testing::PrintToString(team);
  }
}

}  // namespace
}  // namespace velmora
