#include "darwin/doubles.h"

#include <Security/Security.h>
#include <dispatch/dispatch.h>
#include <os/log.h>

Doubles doubles;

namespace {

void note(const std::string& call, NSString* given = nil) {
  doubles.events += call + (given == nil ? "" : "[" + std::string([given UTF8String]) + "]") + " ";
}

// The number of a security call, and its flags. Returns whether it succeeds.
bool securityCall(int number, std::uint32_t flags) {
  note(std::to_string(number) + ":" + std::to_string(flags));
  return number != doubles.failingSecurityCall;
}

template <typename Reference>
OSStatus handOut(bool succeeds, Reference* reference, const void* object) {
  if (!succeeds) return -1;
  ++doubles.securityObjects;
  *reference = static_cast<Reference>(object);
  return errSecSuccess;
}

}  // namespace

@implementation NSXPCInterface
+ (NSXPCInterface*)interfaceWithProtocol:(Protocol*)protocol {
  (void)protocol;  // GNUstep's runtime cannot tell its name
  return [[self alloc] init];
}
@end

@implementation NSXPCConnection
+ (NSXPCConnection*)currentConnection {
  return doubles.currentConnection;
}
- (instancetype)initWithMachServiceName:(NSString*)name options:(NSXPCConnectionOptions)options {
  note("connect", [NSString stringWithFormat:@"%@ %d", name, static_cast<int>(options)]);
  return [super init];
}
- (void)setCodeSigningRequirement:(NSString*)requirement {
  if (![requirement hasPrefix:@"identifier \""] || [requirement hasSuffix:@"\"\""]) {
    [NSException raise:NSInvalidArgumentException format:@"malformed"];
  }
  note("requirement", requirement);
}
- (void)setExportedInterface:(NSXPCInterface*)interface {
  note(interface == nil ? "no interface" : "interface");
}
- (void)setExportedObject:(id)object {
  doubles.exportedObject = object;
  note("object");
}
- (void)setRemoteObjectInterface:(NSXPCInterface*)interface {
  note(interface == nil ? "no remote" : "remote");
}
- (id)synchronousRemoteObjectProxyWithErrorHandler:(void (^)(NSError* error))handler {
  if (doubles.remoteObject == nil) {
    NSDictionary* information = [NSDictionary dictionaryWithObject:@"it was invalidated"
                                                            forKey:NSLocalizedDescriptionKey];
    handler([NSError errorWithDomain:@"double" code:doubles.errorCode userInfo:information]);
  }
  return doubles.remoteObject;
}
- (uid_t)effectiveUserIdentifier {
  note("user");
  return 501;
}
- (void)resume {
  note("resume");
}
- (void)invalidate {
  note("invalidate");
}
@end

@implementation NSXPCListener
- (instancetype)initWithMachServiceName:(NSString*)name {
  note("listen", name);
  return [super init];
}
- (void)setDelegate:(id<NSXPCListenerDelegate>)delegate {
  doubles.listenerDelegate = delegate;
  note("delegate");
}
- (void)resume {
  note("resume");
}
@end

static NSString* const identifierKey = @"identifier";
static NSString* const teamKey = @"teamid";
const CFStringRef kSecCodeInfoIdentifier =
    static_cast<CFStringRef>(static_cast<const void*>(identifierKey));
const CFStringRef kSecCodeInfoTeamIdentifier =
    static_cast<CFStringRef>(static_cast<const void*>(teamKey));

void CFRelease(CFTypeRef /*object*/) {
  --doubles.securityObjects;
}
OSStatus SecCodeCopySelf(std::uint32_t flags, SecCodeRef* self) {
  return handOut(securityCall(1, flags), self, "self");
}
OSStatus SecCodeCopyStaticCode(SecCodeRef /*code*/, std::uint32_t flags,
                               SecStaticCodeRef* staticCode) {
  return handOut(securityCall(2, flags), staticCode, "file");
}
OSStatus SecStaticCodeCheckValidity(SecStaticCodeRef /*staticCode*/, std::uint32_t flags,
                                    SecRequirementRef requirement) {
  if (requirement != nullptr) note("required");
  return securityCall(3, flags) ? doubles.validity : -1;
}
OSStatus SecCodeCopySigningInformation(SecStaticCodeRef /*code*/, std::uint32_t flags,
                                       CFDictionaryRef* information) {
  NSString* team = [NSString stringWithUTF8String:doubles.team.c_str()];
  NSDictionary* values =
      [team length] == 0 ? [NSDictionary dictionary]
                         : [[NSDictionary alloc] initWithObjectsAndKeys:team, teamKey, @"its own",
                                                                        identifierKey, nil];
  return handOut(securityCall(4, flags), information, values);
}
OSStatus SecStaticCodeCreateWithPath(CFURLRef path, std::uint32_t flags,
                                     SecStaticCodeRef* staticCode) {
  note("path", [static_cast<NSURL*>(static_cast<const void*>(path)) path]);
  return handOut(securityCall(5, flags), staticCode, "file");
}
OSStatus SecRequirementCreateWithString(CFStringRef text, std::uint32_t flags,
                                        SecRequirementRef* requirement) {
  note("text", static_cast<NSString*>(static_cast<const void*>(text)));
  return handOut(securityCall(6, flags), requirement, "requirement");
}

os_log_t os_log_create(const char* subsystem, const char* category) {
  doubles.log += std::string(subsystem) + " " + category + " ";
  return category;
}
void os_log_with_type(os_log_t /*log*/, os_log_type_t type, const char* format, const char* text) {
  doubles.log += std::to_string(type) + " " + format + " " + text + "\n";
}

void dispatch_after(std::int64_t time, int /*queue*/, void (^block)(void)) {
  note("limit:" + std::to_string(time / 1000000000));
  if (doubles.isTimeOver) block();
}
