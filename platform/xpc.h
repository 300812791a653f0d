// Connections between client and helper, after NSXPCListener and NSXPCConnection.
//
// What every implementation owes:
// - the calls of one connection are made one at a time, those of different ones side by side;
// - each call gets exactly one answer, or, when it ends without one, ends its connection;
// - an answer never waits for its reader: a client that does not read holds up itself alone;
// - no exception of the exported object's gets any further than its call.
// When an answer leaves is each implementation's own: on Linux after the method has returned, on
// macOS at once, when the reply is called.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "platform/localized_error.h"
#include "protocol/velmora_maintenance_helper_xpc.h"

namespace velmora {

// The helper's end of one connection, as the listener's delegate configures it.
class XPCConnection {
 public:
  XPCConnection() = default;
  XPCConnection(const XPCConnection&) = delete;
  XPCConnection& operator=(const XPCConnection&) = delete;
  virtual ~XPCConnection() = default;

  // From now on a peer that does not satisfy `requirement` (Apple's code signing requirement
  // language) is disconnected before anything it sends is looked at.
  // Raises PlatformError when the text is no requirement.
  virtual void setCodeSigningRequirement(const std::string& requirement) = 0;

  // The peer may call what VelmoraMaintenanceHelperXPC has, and nothing else.
  virtual void setExportedInterface() = 0;

  // The peer's calls go to `object`, one at a time, on the connection's own thread. The
  // connection owns the object from now on.
  virtual void setExportedObject(std::unique_ptr<VelmoraMaintenanceHelperXPC> object) = 0;

  // The effective user of the process that connected, by the kernel's word.
  virtual std::uint32_t effectiveUserIdentifier() const = 0;

  // Lets calls through, once the delegate has accepted the connection.
  virtual void resume() = 0;
};

class XPCListenerDelegate {
 public:
  XPCListenerDelegate() = default;
  XPCListenerDelegate(const XPCListenerDelegate&) = delete;
  XPCListenerDelegate& operator=(const XPCListenerDelegate&) = delete;
  virtual ~XPCListenerDelegate() = default;

  // Configures and resumes `connection` and returns true, or returns false to refuse it. Called
  // for one connection at a time, on a thread of the listener's. An exception refuses.
  virtual bool listenerShouldAcceptNewConnection(XPCConnection& connection) = 0;
};

// Takes connections for a Mach service name. Nothing that a client does ends it.
class XPCListener {
 public:
  class Implementation;

  explicit XPCListener(std::string machServiceName);
  XPCListener(const XPCListener&) = delete;
  XPCListener& operator=(const XPCListener&) = delete;
  ~XPCListener();

  // The caller keeps `delegate` alive for as long as the process runs.
  void setDelegate(XPCListenerDelegate& delegate);

  // Opens the service; connections are taken once the run loop runs. Raises PlatformError when
  // the service cannot be opened, also because another process already serves it.
  void resume();

 private:
  std::unique_ptr<Implementation> implementation_;
};

// Serves the resumed listener on the calling thread, for ever.
void runRunLoop();

// No answer came: the service cannot be reached, or the connection ended first.
class XPCConnectionError : public LocalizedError {
 public:
  enum class Cause { notReached, endOfConnection, other };

  explicit XPCConnectionError(std::string description, Cause cause = Cause::other)
      : description_(std::move(description)), cause_(cause) {}
  std::string errorDescription() const override { return description_; }

  // With endOfConnection there was one, and the helper closed it or has ended.
  Cause cause() const { return cause_; }

 private:
  std::string description_;
  Cause cause_;
};

// Connects a client to the Mach service `machServiceName`. Each method of the returned proxy
// waits for the answer, for as long as the operation may take and a little longer.
// Raises XPCConnectionError, and so do the proxy's methods. Not for use by several threads at once.
std::unique_ptr<VelmoraMaintenanceHelperXPC> remoteObjectProxy(const std::string& machServiceName);

}  // namespace velmora
