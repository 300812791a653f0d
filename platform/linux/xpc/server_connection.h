// The helper's end of one connection, from the delegate's question to the end of its last call.
// Everything runs on the one thread that owns it: the connection's private queue.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/file_descriptor.h"
#include "platform/linux/xpc/bus.h"
#include "platform/linux/xpc/peer_process.h"
#include "platform/portable/code_requirement/code_requirement.h"
#include "platform/xpc.h"

namespace velmora {

class ServerConnection final : public XPCConnection {
 public:
  // Takes the accepted `socket`. Raises PlatformError.
  explicit ServerConnection(FileDescriptor socket);

  void setCodeSigningRequirement(const std::string& requirement) override;
  void setExportedObject(std::unique_ptr<VelmoraMaintenanceHelperXPC> object) override;
  std::uint32_t effectiveUserIdentifier() const override;
  void setExportedInterface() override {}  // a bus has no other
  void resume() override { resumed_ = true; }

  // Whether the delegate has resumed the connection, and the peer satisfies its requirement now.
  bool peerIsAdmitted();

  // Serves an admitted peer's calls until it disconnects, sends what is no message, or no longer
  // satisfies the requirement. Returns when the connection is to be closed. Raises PlatformError.
  void serve();

 private:
  static constexpr double authenticationSeconds = 10;

  class ExportedObject;

  FileDescriptor socket_;
  PeerProcess peer_;
  std::optional<CodeRequirement> requirement_;
  std::unique_ptr<VelmoraMaintenanceHelperXPC> object_;
  bool resumed_ = false;
};

}  // namespace velmora
