#include "platform/darwin/xpc/connection_setup.h"

#include "platform/darwin/foundation_text.h"
#include "platform/platform_error.h"
#import "protocol/objc/VelmoraMaintenanceHelperXPC.h"

// Foundation raises an exception of its own for a text that is no requirement; outside of
// velmora and free of C++ objects, so that the two kinds of exception never meet.
static NSString* reasonForRefusal(NSXPCConnection* connection, NSString* requirement) {
  @try {
    [connection setCodeSigningRequirement:requirement];
    return nil;
  } @catch (NSException* exception) {
    NSString* reason = [exception reason];
    return reason != nil ? reason : [exception name];
  }
}

namespace velmora {

NSXPCInterface* helperInterface() {
  return [NSXPCInterface interfaceWithProtocol:@protocol(VelmoraMaintenanceHelperXPC)];
}

void setRequirement(NSXPCConnection* connection, const std::string& requirement) {
  NSString* reason = reasonForRefusal(connection, foundationText(requirement));
  if (reason != nil) {
    throw PlatformError("use", "the code signing requirement", utf8Text(reason));
  }
}

}  // namespace velmora
