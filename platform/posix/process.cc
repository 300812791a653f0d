#include "platform/process.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "platform/file_descriptor.h"
#include "platform/memory.h"
#include "platform/platform_error.h"

namespace velmora {
namespace {

void occupyStandardDescriptors() {
  FileDescriptor device;
  do {
    // Kept at the three numbers, so that no client's socket ever gets one of them; not
    // close-on-exec, since a tool's own three take their place.
    device.reset(::open("/dev/null", O_RDWR));
    if (!device.isOpen()) throw PlatformError("open", "/dev/null", errno);
  } while (device.get() <= STDERR_FILENO && device.release() >= 0);
}

}  // namespace

void prepareProcess() {
  occupyStandardDescriptors();
  // Either would end the helper for what a client or a limit does; the call reports it as well.
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGXFSZ, SIG_IGN);
  returnLargeBlocksWhenFreed();
}

}  // namespace velmora
