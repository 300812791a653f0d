// The helper's entry: opens the Mach service and serves it until the process is ended from
// outside. There is no shutdown path.
#include <cstdio>
#include <exception>
#include <memory>

#include "front/maintenance_helper_listener_delegate.h"
#include "platform/localized_error.h"
#include "platform/process.h"
#include "platform/xpc.h"
#include "protocol/build_constants.h"

namespace {

// For the life of the process; the listener does not own its delegate.
std::unique_ptr<velmora::MaintenanceHelperListenerDelegate> delegate;
std::unique_ptr<velmora::XPCListener> listener;

}  // namespace

int main() {
  try {
    // Before the first descriptor and the first thread.
    velmora::prepareProcess();
    delegate = std::make_unique<velmora::MaintenanceHelperListenerDelegate>();
    listener = std::make_unique<velmora::XPCListener>(velmora::HelperServiceName);
    listener->setDelegate(*delegate);
    listener->resume();
    velmora::runRunLoop();
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "VelmoraMaintenanceHelper: %s\n",
                 velmora::localizedDescription(error).c_str());
    return 1;
  }
}
