// The helper's XPC protocol, for an application in Objective-C or Swift. Needs Foundation only.
#import <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

@protocol VelmoraMaintenanceHelperXPC

- (void)protocolVersionWithReply:(void (^)(NSString* version))reply;

// `message` says why the operation was refused or failed, and is nil when it was done.
- (void)flushDNSCacheWithReply:(void (^)(BOOL ok, NSString* _Nullable message))reply;
- (void)rebuildSpotlightIndexWithReply:(void (^)(BOOL ok, NSString* _Nullable message))reply;
- (void)repairUserPermissionsWithReply:(void (^)(BOOL ok, NSString* _Nullable message))reply;
- (void)thinLocalSnapshotsWithReply:(void (^)(BOOL ok, NSString* _Nullable message))reply;
- (void)freeMemoryWithReply:(void (^)(BOOL ok, NSString* _Nullable message))reply;

// `request` and `response` are JSON arrays of item keys.
- (void)removeLegacyBackgroundItems:(NSData*)request
                              reply:(void (^)(BOOL ok, NSData* _Nullable response,
                                              NSString* _Nullable message))reply;

@end

NS_ASSUME_NONNULL_END
