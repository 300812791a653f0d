// GNUstep's Foundation, with doubles of what does nothing there.
#pragma once

#include_next <Foundation/Foundation.h>
#include <sys/types.h>

#define NSXPCConnection DoubleConnection
#define NSXPCInterface DoubleInterface
#define NSXPCListener DoubleListener
#define NSXPCListenerDelegate DoubleListenerDelegate

@class NSXPCListener;

@interface NSXPCInterface : NSObject
+ (NSXPCInterface*)interfaceWithProtocol:(Protocol*)protocol;
@end

// Notes each call in `doubles`.
@interface NSXPCConnection : NSObject {
 @public
  id exportedObject;
}
+ (NSXPCConnection*)currentConnection;
- (instancetype)initWithMachServiceName:(NSString*)name options:(NSXPCConnectionOptions)options;
- (void)setCodeSigningRequirement:(NSString*)requirement;
- (void)setExportedInterface:(NSXPCInterface*)interface;
- (void)setExportedObject:(id)object;
- (void)setRemoteObjectInterface:(NSXPCInterface*)interface;
- (id)synchronousRemoteObjectProxyWithErrorHandler:(void (^)(NSError* error))handler;
- (uid_t)effectiveUserIdentifier;
- (void)resume;
- (void)invalidate;
@end

@protocol NSXPCListenerDelegate <NSObject>
@optional
- (BOOL)listener:(NSXPCListener*)listener shouldAcceptNewConnection:(NSXPCConnection*)newConnection;
@end

@interface NSXPCListener : NSObject
- (instancetype)initWithMachServiceName:(NSString*)name;
- (void)setDelegate:(id<NSXPCListenerDelegate>)delegate;
- (void)resume;
@end
