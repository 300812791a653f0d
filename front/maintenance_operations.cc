// What the five maintenance operations do: fixed tools with fixed arguments, each under what is
// left of its operation's budget. The first tool that does not succeed ends the operation.
#include <string>
#include <utility>

#include "front/maintenance_helper_service.h"
#include "runner/helper_command_error.h"

namespace velmora {

void MaintenanceHelperService::flushDNSCacheWithReply(OperationReply reply) {
  performOperation(
      DNSCacheFlush, [this](Deadline deadline) { flushDNSCache(deadline); }, std::move(reply));
}

void MaintenanceHelperService::rebuildSpotlightIndexWithReply(OperationReply reply) {
  performOperation(
      SpotlightIndexRebuild,
      [this](Deadline deadline) {
        runChecked("/usr/bin/mdutil", {"-E", "/"}, deadline);
      },
      std::move(reply));
}

void MaintenanceHelperService::repairUserPermissionsWithReply(OperationReply reply) {
  performOperation(
      UserPermissionRepair, [this](Deadline deadline) { repairUserPermissions(deadline); },
      std::move(reply));
}

void MaintenanceHelperService::thinLocalSnapshotsWithReply(OperationReply reply) {
  performOperation(
      SnapshotThinning,
      [this](Deadline deadline) {
        runChecked("/usr/bin/tmutil", {"thinlocalsnapshots", "/", "999999999999", "4"}, deadline);
      },
      std::move(reply));
}

void MaintenanceHelperService::freeMemoryWithReply(OperationReply reply) {
  performOperation(
      MemoryPurge, [this](Deadline deadline) { runChecked("/usr/sbin/purge", {}, deadline); },
      std::move(reply));
}

void MaintenanceHelperService::flushDNSCache(Deadline deadline) const {
  runChecked("/usr/bin/dscacheutil", {"-flushcache"}, deadline);
  runChecked("/usr/bin/killall", {"-HUP", "mDNSResponder"}, deadline);
}

void MaintenanceHelperService::repairUserPermissions(Deadline deadline) const {
  runChecked("/usr/sbin/diskutil",
             {"resetUserPermissions", "/", std::to_string(clientUserIdentifier_)}, deadline);
}

void MaintenanceHelperService::runChecked(const std::string& executablePath,
                                          const std::vector<std::string>& arguments,
                                          Deadline deadline) const {
  const HelperCommandResult result = runner_.runBeforeDeadline(executablePath, arguments, deadline);
  if (!result.succeeded()) throw HelperCommandError::failed(executablePath, result);
}

}  // namespace velmora
