// What the adapters use of the Security framework. See Foundation/Foundation.h.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

extern "C" {

typedef struct __attribute__((objc_bridge(id))) __SecCode* SecCodeRef;
typedef const struct __attribute__((objc_bridge(id))) __SecCode* SecStaticCodeRef;
typedef struct __attribute__((objc_bridge(id))) __SecRequirement* SecRequirementRef;

typedef enum SecCSFlags : uint32_t { kSecCSDefaultFlags = 0 } SecCSFlags;
enum { kSecCSSigningInformation = 1 << 1 };
enum {
  errSecSuccess = 0,
  errSecCSBadResource = -67054,
  errSecCSSignatureFailed = -67061,
  errSecCSUnsigned = -67062
};
static_assert(kSecCSSigningInformation == 2);

extern const CFStringRef kSecCodeInfoIdentifier;
extern const CFStringRef kSecCodeInfoTeamIdentifier;

OSStatus SecCodeCopySelf(uint32_t flags, SecCodeRef* self);
OSStatus SecCodeCopyStaticCode(SecCodeRef code, uint32_t flags, SecStaticCodeRef* staticCode);
OSStatus SecStaticCodeCheckValidity(SecStaticCodeRef staticCode, uint32_t flags,
                                    SecRequirementRef requirement);
OSStatus SecCodeCopySigningInformation(SecStaticCodeRef code, uint32_t flags,
                                       CFDictionaryRef* information);
OSStatus SecStaticCodeCreateWithPath(CFURLRef path, uint32_t flags, SecStaticCodeRef* staticCode);
OSStatus SecRequirementCreateWithString(CFStringRef text, uint32_t flags,
                                        SecRequirementRef* requirement);

}  // extern "C"
