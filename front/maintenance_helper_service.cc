#include "front/maintenance_helper_service.h"

#include <mutex>
#include <optional>
#include <utility>

#include "front/failure.h"
#include "front/operation_lock.h"
#include "protocol/build_constants.h"

namespace velmora {

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

  const Deadline deadline = Deadline::after(operation.budgetSeconds);
  const std::optional<std::string> failure = failureOf([&] { routine(deadline); });
  if (failure) {
    logger_.error("%{public}s failed: %{public}s", {operation.displayName, *failure});
    std::move(reply)(false, failure);
  } else {
    logger_.log("%{public}s completed", {operation.displayName});
    std::move(reply)(true, std::nullopt);
  }
}

}  // namespace velmora
