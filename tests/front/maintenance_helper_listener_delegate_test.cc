// Admission, by a program that is signed as the stage signs the helper.
#include "front/maintenance_helper_listener_delegate.h"

#include <gtest/gtest.h>

#include <string>

namespace velmora {
namespace {

// What the delegate does to a connection, in its order.
class Recorder final : public XPCConnection {
 public:
  void setCodeSigningRequirement(const std::string& text) override { steps += text + "\n"; }
  void setExportedInterface() override { steps += "interface, "; }
  void setExportedObject(std::unique_ptr<VelmoraMaintenanceHelperXPC> object) override {
    steps += object != nullptr ? "object, " : "nothing, ";
  }
  std::uint32_t effectiveUserIdentifier() const override {
    steps += "user, ";
    return 501;
  }
  void resume() override { steps += "resume"; }

  mutable std::string steps;
};

TEST(MaintenanceHelperListenerDelegate, admitsByLessThanTheWholeRequirementOrInAnotherOrder) {
  Recorder connection;
  EXPECT_TRUE(MaintenanceHelperListenerDelegate().listenerShouldAcceptNewConnection(connection));
  EXPECT_EQ(connection.steps,
            "identifier \"com.velmora.app\" and anchor apple generic and "
            "certificate leaf[subject.OU] = \"VELMORA042\"\n"
            "interface, user, object, resume");
}

}  // namespace
}  // namespace velmora
