// The object that one admitted connection calls, bound to that connection's user. Every method
// does all its work on the calling thread and replies once before it returns.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/deadline.h"
#include "platform/logger.h"
#include "protocol/operations.h"
#include "protocol/velmora_maintenance_helper_xpc.h"
#include "runner/helper_command_runner.h"

namespace velmora {

class MaintenanceHelperService final : public VelmoraMaintenanceHelperXPC {
 public:
  explicit MaintenanceHelperService(std::uint32_t clientUserIdentifier);

  // Takes no lock and logs nothing.
  void protocolVersionWithReply(VersionReply reply) override;

  // The five maintenance operations: maintenance_operations.cc.
  void flushDNSCacheWithReply(OperationReply reply) override;
  void rebuildSpotlightIndexWithReply(OperationReply reply) override;
  void repairUserPermissionsWithReply(OperationReply reply) override;
  void thinLocalSnapshotsWithReply(OperationReply reply) override;
  void freeMemoryWithReply(OperationReply reply) override;

  // background_item_removal.cc. Under operationLock like them; logs how many items were removed,
  // or why not all of them.
  void removeLegacyBackgroundItems(Data request, RemovalReply reply) override;

 private:
  // Completes before the deadline, or raises.
  using Routine = std::function<void(Deadline deadline)>;

  // Runs `routine` under operationLock and the operation's budget, logs how it ended and
  // replies, in this order; the lock is free again after the reply. While another operation
  // runs, replies that at once and does nothing else.
  void performOperation(const MaintenanceOperation& operation, const Routine& routine,
                        OperationReply reply) const;

  // Runs one tool to success. Raises HelperCommandError::failed when it ends in any other way,
  // and what the runner raises.
  void runChecked(const std::string& executablePath, const std::vector<std::string>& arguments,
                  Deadline deadline) const;
  void flushDNSCache(Deadline deadline) const;
  void repairUserPermissions(Deadline deadline) const;

  const std::uint32_t clientUserIdentifier_;
  const HelperCommandRunner runner_;
  const Logger logger_;
};

}  // namespace velmora
