// A client that speaks the wire protocol of D-Bus itself, so that next to nothing of what is
// measured with it is its own.
#pragma once

#include <string>

#include "platform/file_descriptor.h"

namespace velmora::bench {

struct Method {
  std::string destination;  // empty from peer to peer
  std::string path;
  std::string interface;
  std::string member;
};

// What asks the helper, or a service that stands in for it, for its version.
Method versionMethod();

// Connected to the local socket at `path`. Raises std::runtime_error, as everything here does.
FileDescriptor connectTo(const std::string& path);

class WireClient {
 public:
  // Connected to the service at `path` and authenticated.
  explicit WireClient(const std::string& path);

  // Calls `method`, which has no arguments, and waits for its answer.
  void call(const Method& method);

  // The same in two halves, for a call encoded once. Several may be under way on as many clients.
  void send(const std::string& encoded);
  void awaitAnswer();

  int descriptor() const { return socket_.get(); }

 private:
  FileDescriptor socket_;
  std::string received_;
};

// The message that calls `method`.
std::string encodedCall(const Method& method);

}  // namespace velmora::bench
