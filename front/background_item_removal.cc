// The removal of background items as the client calls it: bytes in, bytes or a message out.
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>

#include "front/failure.h"
#include "front/maintenance_helper_service.h"
#include "front/operation_lock.h"
#include "platform/json.h"
#include "platform/memory.h"
#include "removal/background_item_archive.h"
#include "removal/privileged_legacy_background_item_removal_service.h"

namespace velmora {
namespace {

std::string_view textOf(const Data& data) {
  return {reinterpret_cast<const char*>(data.data()), data.size()};
}

Data dataOf(std::string_view text) {
  const auto* begin = reinterpret_cast<const std::byte*>(text.data());
  return {begin, begin + text.size()};
}

}  // namespace

void MaintenanceHelperService::removeLegacyBackgroundItems(Data request, RemovalReply reply) {
  const std::unique_lock lock(operationLock(), std::try_to_lock);
  if (!lock.owns_lock()) {
    std::move(reply)(false, std::nullopt, OperationAlreadyRunningMessage);
    return;
  }

  Data response;
  const std::optional<std::string> failure = failureOf([&] {
    const std::vector<std::string> entries = decodeStringArray(textOf(request));
    const PrivilegedLegacyBackgroundItemRemovalService service{
        .clientUserIdentifier = clientUserIdentifier_,
        .locationsOverride = std::nullopt,
        .archiveBaseDirectory = defaultArchiveBaseDirectory(),
        .runner = std::make_shared<HelperCommandRunner>(),
    };
    const std::vector<std::string> removed = service.removeItems(entries);
    response = dataOf(encodeStringArray(removed));
    logger_.log("Removed %{public}ld legacy background item(s)",
                {static_cast<long>(removed.size())});
  });
  // Folders and files may have taken far more than the helper uses otherwise.
  giveBackFreedMemory();
  if (failure) {
    logger_.error("Background-item removal failed: %{public}s", {*failure});
    std::move(reply)(false, std::nullopt, failure);
  } else {
    std::move(reply)(true, std::move(response), std::nullopt);
  }
}

}  // namespace velmora
