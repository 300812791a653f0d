// Admission, as far as it does not take a signed helper.
#include "front/maintenance_client_validator.h"

#include <gtest/gtest.h>

#include "front/maintenance_helper_listener_delegate.h"
#include "protocol/build_constants.h"

namespace velmora {
namespace {

using namespace std::string_literals;

TEST(MaintenanceClientValidator, writesAnotherRequirementThanItMust) {
  for (const std::string team : {"VELMORA042", "abcxyz", "AZaz09", "7"}) {
    EXPECT_EQ(codeSigningRequirementForTeam(team),
              "identifier \"" + std::string(ClientBundleIdentifier) +
                  "\" and anchor apple generic and certificate leaf[subject.OU] = \"" + team +
                  "\"");
  }
}

TEST(MaintenanceClientValidator, splicesUnsafeTeamIntoRequirement) {
  for (const std::string& team :
       {""s, "TEAM 42"s, "TEAM42 "s, "T\""s, "TEAM-42"s, "T\u00C9AM"s, "TEAM\u0301"s, "TEAM\uFF14"s,
        "T\0M"s, "TEAM42\n"s, "@"s, "["s, "`"s, "{"s, "/"s, ":"s, "TEAM_42"s, "\xFF"s}) {
    EXPECT_EQ(codeSigningRequirementForTeam(team), std::nullopt) << testing::PrintToString(team);
  }
}

// A connection that must not be touched.
class ForbiddenConnection final : public XPCConnection {
 public:
  void setCodeSigningRequirement(const std::string& text) override { ADD_FAILURE() << text; }
  void setExportedObject(std::unique_ptr<VelmoraMaintenanceHelperXPC>) override { ADD_FAILURE(); }
  std::uint32_t effectiveUserIdentifier() const override { return 0; }
  void resume() override { ADD_FAILURE(); }
};

TEST(MaintenanceHelperListenerDelegate, admitsClientsWhileTheHelperIsUnsigned) {
  EXPECT_EQ(MaintenanceClientValidator().currentTeamIdentifier(), std::nullopt);
  EXPECT_EQ(MaintenanceClientValidator().codeSigningRequirement(), std::nullopt);
  ForbiddenConnection connection;
  EXPECT_FALSE(MaintenanceHelperListenerDelegate().listenerShouldAcceptNewConnection(connection));
}

}  // namespace
}  // namespace velmora
