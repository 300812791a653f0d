// What the client may ask of the helper: the seven methods of the XPC protocol, in their order.
// Implemented by the helper's service and by the client's proxy of it. Every method calls its
// reply once, before it returns; on the client's side it raises XPCConnectionError instead when
// no answer came.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "protocol/reply.h"

namespace velmora {

// The version of this protocol, independent of the helper's bundle version.
inline constexpr const char* ProtocolVersion = "3";

using Data = std::vector<std::byte>;

using VersionReply = Reply<std::string>;

// (ok, message): a message is there exactly when the operation was refused or failed.
using OperationReply = Reply<bool, std::optional<std::string>>;

// (ok, response, message): a response exactly on success, a message exactly on failure.
using RemovalReply = Reply<bool, std::optional<Data>, std::optional<std::string>>;

class VelmoraMaintenanceHelperXPC {
 public:
  VelmoraMaintenanceHelperXPC() = default;
  VelmoraMaintenanceHelperXPC(const VelmoraMaintenanceHelperXPC&) = delete;
  VelmoraMaintenanceHelperXPC& operator=(const VelmoraMaintenanceHelperXPC&) = delete;
  virtual ~VelmoraMaintenanceHelperXPC() = default;

  virtual void protocolVersionWithReply(VersionReply reply) = 0;
  virtual void flushDNSCacheWithReply(OperationReply reply) = 0;
  virtual void rebuildSpotlightIndexWithReply(OperationReply reply) = 0;
  virtual void repairUserPermissionsWithReply(OperationReply reply) = 0;
  virtual void thinLocalSnapshotsWithReply(OperationReply reply) = 0;
  virtual void freeMemoryWithReply(OperationReply reply) = 0;

  // `request` is a JSON array of item keys, and so is the response.
  virtual void removeLegacyBackgroundItems(Data request, RemovalReply reply) = 0;
};

}  // namespace velmora
