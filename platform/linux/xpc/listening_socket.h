// The socket on which a service listens.
#pragma once

#include <string>

#include "platform/file_descriptor.h"

namespace velmora {

// The listening socket that the process was started with (socket activation, sd_listen_fds(3)),
// or else a new one at `path` that anyone may connect to. A socket file that nobody listens on
// any more is taken over. Raises PlatformError, also when another process listens there.
FileDescriptor openListeningSocket(const std::string& path);

}  // namespace velmora
