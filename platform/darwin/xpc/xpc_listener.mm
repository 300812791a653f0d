#import <Foundation/Foundation.h>

#include <utility>

#include "platform/darwin/foundation_text.h"
#include "platform/darwin/xpc/connection_setup.h"
#include "platform/darwin/xpc/exported_object.h"
#include "platform/portable/contained.h"
#include "platform/xpc.h"

namespace velmora {
namespace {

class ServerConnection final : public XPCConnection {
 public:
  explicit ServerConnection(NSXPCConnection* connection) : connection_(connection) {}

  void setCodeSigningRequirement(const std::string& requirement) override {
    setRequirement(connection_, requirement);
  }

  void setExportedInterface() override { [connection_ setExportedInterface:helperInterface()]; }

  void setExportedObject(std::unique_ptr<VelmoraMaintenanceHelperXPC> object) override {
    [connection_
        setExportedObject:[[VelmoraExportedObject alloc] initWithObject:std::move(object)]];
  }

  std::uint32_t effectiveUserIdentifier() const override {
    return [connection_ effectiveUserIdentifier];
  }

  void resume() override { [connection_ resume]; }

 private:
  NSXPCConnection* const connection_;
};

bool shouldAccept(XPCListenerDelegate& delegate, NSXPCConnection* newConnection) {
  bool isAccepted = false;
  contained([&] {
    ServerConnection connection(newConnection);
    isAccepted = delegate.listenerShouldAcceptNewConnection(connection);
  });
  return isAccepted;
}

}  // namespace
}  // namespace velmora

@interface VelmoraListenerDelegate : NSObject <NSXPCListenerDelegate> {
  velmora::XPCListenerDelegate* _delegate;
}

- (instancetype)initWithDelegate:(velmora::XPCListenerDelegate*)delegate;

@end

@implementation VelmoraListenerDelegate

- (instancetype)initWithDelegate:(velmora::XPCListenerDelegate*)delegate {
  self = [super init];
  if (self != nil) _delegate = delegate;
  return self;
}

- (BOOL)listener:(NSXPCListener*)listener
    shouldAcceptNewConnection:(NSXPCConnection*)newConnection {
  (void)listener;
  @autoreleasepool {
    return velmora::shouldAccept(*_delegate, newConnection) ? YES : NO;
  }
}

@end

namespace velmora {

class XPCListener::Implementation {
 public:
  NSXPCListener* listener;
  VelmoraListenerDelegate* delegate;  // the listener does not own it
};

XPCListener::XPCListener(std::string machServiceName)
    : implementation_(std::make_unique<Implementation>()) {
  implementation_->listener =
      [[NSXPCListener alloc] initWithMachServiceName:foundationText(machServiceName)];
}

XPCListener::~XPCListener() = default;

void XPCListener::setDelegate(XPCListenerDelegate& delegate) {
  implementation_->delegate = [[VelmoraListenerDelegate alloc] initWithDelegate:&delegate];
  [implementation_->listener setDelegate:implementation_->delegate];
}

void XPCListener::resume() {
  [implementation_->listener resume];
}

void runRunLoop() {
  [[NSRunLoop currentRunLoop] run];
}

}  // namespace velmora
