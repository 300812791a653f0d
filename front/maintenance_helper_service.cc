#include "front/maintenance_helper_service.h"

#include <mutex>
#include <optional>
#include <utility>

#include "front/operation_lock.h"
#include "platform/localized_error.h"
#include "platform/process_info.h"
#include "protocol/build_constants.h"

namespace velmora {
namespace {

// The description of whatever ended `routine`, or nothing when it completed.
std::optional<std::string> failureOf(const std::function<void(double)>& routine, double deadline) {
  try {
    routine(deadline);
    return std::nullopt;
  } catch (const std::exception& error) {
    return localizedDescription(error);
  } catch (...) {
    return "The maintenance operation failed for an unknown reason.";
  }
}

}  // namespace

MaintenanceHelperService::MaintenanceHelperService(std::uint32_t clientUserIdentifier)
    : clientUserIdentifier_(clientUserIdentifier), logger_(HelperServiceName, "Maintenance") {}

void MaintenanceHelperService::protocolVersionWithReply(VersionReply reply) {
  std::move(reply)(ProtocolVersion);
}

void MaintenanceHelperService::performOperation(const MaintenanceOperation& operation,
                                                const Routine& routine,
                                                OperationReply reply) const {
  const std::unique_lock lock(operationLock(), std::try_to_lock);
  if (!lock.owns_lock()) {
    std::move(reply)(false, OperationAlreadyRunningMessage);
    return;
  }

  const double deadline = systemUptime() + operation.budgetSeconds;
  const std::optional<std::string> failure = failureOf(routine, deadline);
  if (failure) {
    logger_.error("%{public}s failed: %{public}s", {operation.displayName, *failure});
    std::move(reply)(false, failure);
  } else {
    logger_.log("%{public}s completed", {operation.displayName});
    std::move(reply)(true, std::nullopt);
  }
}

void MaintenanceHelperService::removeLegacyBackgroundItems(Data /*request*/, RemovalReply reply) {
  std::move(reply)(false, std::nullopt, "This helper cannot remove background items yet.");
}

}  // namespace velmora
