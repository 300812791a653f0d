// The maintenance helper's XPC protocol, for an application in Objective-C or Swift. Needs
// Foundation and nothing else of this project: copy the file, or add the Swift package. How to
// build it into an application: docs/integrate-macos.md; every message: docs/messages.md.
//
// Connect to the Mach service whose name is the application's bundle identifier followed by
// VelmoraHelperServiceNameEnding, with NSXPCConnectionPrivileged. The helper serves a connection
// whose process is signed with the application's identifier, an Apple-issued certificate and the
// helper's own team. Any other connection ends at its first message, and the proxy's error handler
// says so: use remoteObjectProxyWithErrorHandler:, since a method's own reply never tells that no
// answer will come.
#import <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

// The version that protocolVersionWithReply: answers. It stands for the seven methods below, their
// arguments and the form of requests and responses; not for the helper's own version, nor for the
// wording of messages.
static NSString* const VelmoraProtocolVersion = @"3";

static NSString* const VelmoraHelperServiceNameEnding = @".maintenance-helper";

// How long an operation may run, in seconds from the moment at which the helper begins it. The
// budget is the whole operation's, not each tool's. An answer can come four seconds later, which is
// what stopping a tool takes; a removal's can come three more seconds later, and as much later as
// the disk takes. A client that waits for a limited time waits longer than this.
static const double VelmoraDNSCacheFlushBudget = 15;
static const double VelmoraSpotlightIndexRebuildBudget = 15;
static const double VelmoraUserPermissionRepairBudget = 880;
static const double VelmoraSnapshotThinningBudget = 170;
static const double VelmoraMemoryPurgeBudget = 55;
static const double VelmoraRemovalBudget = 22;

// A removal request names 1 to this many different items, each by its item key: a kind, "|" and
// the label of the launchd job, 1 to 255 bytes of UTF-8.
static const NSInteger VelmoraMaximumRequestedItems = 128;
static const NSInteger VelmoraMaximumLabelBytes = 255;
static NSString* const VelmoraUserAgentKind = @"userAgent";        // ~/Library/LaunchAgents
static NSString* const VelmoraSharedAgentKind = @"sharedAgent";    // /Library/LaunchAgents
static NSString* const VelmoraSystemDaemonKind = @"systemDaemon";  // /Library/LaunchDaemons

// Messages that are always these words.
static NSString* const VelmoraOperationAlreadyRunningMessage =
    @"Another maintenance operation is already running.";
static NSString* const VelmoraInvalidRequestMessage = @"The background-item request was invalid.";
static NSString* const VelmoraUserUnavailableMessage =
    @"The signed-in user’s home directory could not be resolved safely.";
static NSString* const VelmoraArchiveUnavailableMessage =
    @"Velmora could not create its protected background-item archive.";
static NSString* const VelmoraDiagnosticUnavailableMessage =
    @"The maintenance helper could not create a secure diagnostic file.";
static NSString* const VelmoraOutOfMemoryMessage = @"Out of memory.";
static NSString* const VelmoraUnknownFailureMessage =
    @"The maintenance operation failed for an unknown reason.";

// What does not vary in the other messages of the helper's own. Before the first and the second
// stands a tool's name, and behind the second its status and mostly ": " and the tool's own words,
// which may be anything. The label of an item can hold no space; a path can.
static NSString* const VelmoraToolTimedOutEnding =
    @" did not finish in time, so the maintenance helper stopped it.";
static NSString* const VelmoraToolFailedPart = @" exited with status ";
static NSString* const VelmoraItemNotFoundEnding =
    @" is no longer present in an allowed launchd folder.";
static NSString* const VelmoraAmbiguousItemEnding = @" in the same launchd location.";
static NSString* const VelmoraItemChangedEnding =
    @" changed during removal, so Velmora stopped safely.";
static NSString* const VelmoraRemovalFailedPart = @" could not be removed: ";
static NSString* const VelmoraUnsafePathEnding =
    @" contains a symbolic link or is unavailable, so Velmora stopped safely.";

// Calls of one connection are served one after another, those of different connections at the same
// time. Each method calls its reply block once, on a queue of the connection's own: what touches
// the user interface goes to the main queue first. When the connection ends before the answer, the
// proxy's error handler is called in the reply's place, and what the helper has begun it finishes.
//
// All methods but the first change the system. One of them runs at a time in the whole helper, for
// whichever user; a call meanwhile is answered at once with NO and
// VelmoraOperationAlreadyRunningMessage, and nothing is done for it. Otherwise the answer comes
// when all is done: YES and no message; or NO and a message that can be shown to the user, in
// English. A tool that fails ends its operation, and what has been done by then stays done.
@protocol VelmoraMaintenanceHelperXPC

// Answers VelmoraProtocolVersion at once, also while an operation runs. Touches nothing: a client
// learns from it whether it is let in.
- (void)protocolVersionWithReply:(void (^)(NSString* version))reply;

// Runs dscacheutil -flushcache, then killall -HUP mDNSResponder.
- (void)flushDNSCacheWithReply:(void (^)(BOOL ok, NSString* _Nullable message))reply;

// Runs mdutil -E /, which erases the index of the start volume; the system builds it again, which
// takes it far longer than this call.
- (void)rebuildSpotlightIndexWithReply:(void (^)(BOOL ok, NSString* _Nullable message))reply;

// Runs diskutil resetUserPermissions / UID, for the user of the calling process.
- (void)repairUserPermissionsWithReply:(void (^)(BOOL ok, NSString* _Nullable message))reply;

// Runs tmutil thinlocalsnapshots / 999999999999 4, which deletes local snapshots. They cannot be
// brought back.
- (void)thinLocalSnapshotsWithReply:(void (^)(BOOL ok, NSString* _Nullable message))reply;

// Runs purge.
- (void)freeMemoryWithReply:(void (^)(BOOL ok, NSString* _Nullable message))reply;

// Removes launchd items of the calling user or of the whole system: stops each job (launchctl
// print, launchctl bootout), keeps its property list where only root can read it, and deletes it.
// `request` is a JSON array of item keys in UTF-8, ["userAgent|org.example.updater"]. All items are
// found before anything is touched: when one is missing, ambiguous, protected or malformed, nothing
// is removed. Then they are removed one by one, and the first that fails ends the call: those
// before it stay removed, it is as it was, and the message does not say which they are. Look again.
// `response`: on success the keys of what was removed, in the same form; otherwise nil.
- (void)removeLegacyBackgroundItems:(NSData*)request
                              reply:(void (^)(BOOL ok, NSData* _Nullable response,
                                              NSString* _Nullable message))reply;

@end

NS_ASSUME_NONNULL_END
