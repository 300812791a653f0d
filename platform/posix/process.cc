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
    device.reset(::open("/dev/null", O_RDWR));
    if (!device.isOpen()) throw PlatformError("open", "/dev/null", errno);
  } while (device.get() <= STDERR_FILENO && device.release() >= 0);
}

}  // namespace

void prepareProcess() {
  occupyStandardDescriptors();
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGXFSZ, SIG_IGN);
  returnLargeBlocksWhenFreed();
}

}  // namespace velmora
