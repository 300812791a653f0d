// The operations as both sides know them. The helper's budgets bound the whole
// operation, not each of its tools; the client shows them and waits a little longer.
#pragma once

#include "protocol/velmora_maintenance_helper_xpc.h"

namespace velmora {

struct MaintenanceOperation {
  using Method = void (VelmoraMaintenanceHelperXPC::*)(OperationReply);

  const char* displayName;
  double budgetSeconds;
  Method method;
};

inline constexpr MaintenanceOperation DNSCacheFlush = {
    "DNS cache flush", 15, &VelmoraMaintenanceHelperXPC::flushDNSCacheWithReply};
inline constexpr MaintenanceOperation SpotlightIndexRebuild = {
    "Spotlight index rebuild", 15, &VelmoraMaintenanceHelperXPC::rebuildSpotlightIndexWithReply};
inline constexpr MaintenanceOperation UserPermissionRepair = {
    "user permission repair", 880, &VelmoraMaintenanceHelperXPC::repairUserPermissionsWithReply};
inline constexpr MaintenanceOperation SnapshotThinning = {
    "Time Machine local snapshot thinning", 170,
    &VelmoraMaintenanceHelperXPC::thinLocalSnapshotsWithReply};
inline constexpr MaintenanceOperation MemoryPurge = {
    "memory purge", 55, &VelmoraMaintenanceHelperXPC::freeMemoryWithReply};

// What all items of one removal request share, in seconds from its beginning.
inline constexpr double RemovalBudgetSeconds = 22;

// The message of a call that was refused because another one of these runs, to be recognised by it.
inline constexpr const char* OperationAlreadyRunningMessage =
    "Another maintenance operation is already running.";

}  // namespace velmora
