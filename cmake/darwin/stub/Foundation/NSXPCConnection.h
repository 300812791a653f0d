// What the adapters use of Foundation's XPC, for Foundation.h beside it and for the doubles of the
// same names, with which the adapters are run where there is no Mac.
#pragma once

@class NSXPCConnection;
@class NSXPCListener;

enum { NSXPCConnectionInterrupted = 4097, NSXPCConnectionInvalid = 4099 };

typedef enum NSXPCConnectionOptions : NSUInteger {
  NSXPCConnectionPrivileged = 1 << 12
} NSXPCConnectionOptions;
static_assert(NSXPCConnectionPrivileged == 4096);

@interface NSXPCInterface : NSObject
+ (NSXPCInterface*)interfaceWithProtocol:(Protocol*)protocol;
@end

@interface NSXPCConnection : NSObject
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
