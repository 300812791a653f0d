// knock SERVICE asks the helper for its protocol version, with no requirement of its own on the
// helper. Exit status: 0 when it was answered, 3 when not. Not yet compiled on a Mac.
#import <Foundation/Foundation.h>

#include <cstdio>

#import "protocol/objc/VelmoraMaintenanceHelperXPC.h"

int main(int argc, char* argv[]) {
  if (argc != 2) return 2;
  @autoreleasepool {
    NSXPCConnection* connection =
        [[NSXPCConnection alloc] initWithMachServiceName:[NSString stringWithUTF8String:argv[1]]
                                                 options:NSXPCConnectionPrivileged];
    [connection
        setRemoteObjectInterface:[NSXPCInterface
                                     interfaceWithProtocol:@protocol(VelmoraMaintenanceHelperXPC)]];
    [connection resume];
    __block int status = 3;
    id<VelmoraMaintenanceHelperXPC> helper =
        [connection synchronousRemoteObjectProxyWithErrorHandler:^(NSError* error) {
          std::fprintf(stderr, "%s\n", [[error description] UTF8String]);
        }];
    [helper protocolVersionWithReply:^(NSString* version) {
      std::puts([version UTF8String]);
      status = 0;
    }];
    [connection invalidate];
    return status;
  }
}
