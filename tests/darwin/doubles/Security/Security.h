// Doubles of the Security framework's calls: they count the objects they hand out, and fail when
// `doubles` says so.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

typedef std::int32_t OSStatus;
typedef const struct DoubleCode* SecCodeRef;
typedef const struct DoubleStaticCode* SecStaticCodeRef;
typedef const struct DoubleRequirement* SecRequirementRef;

enum : std::uint32_t { kSecCSDefaultFlags = 0, kSecCSSigningInformation = 2 };
enum : OSStatus {
  errSecSuccess = 0,
  errSecCSBadResource = -67054,
  errSecCSSignatureFailed = -67061,
  errSecCSUnsigned = -67062
};

extern const CFStringRef kSecCodeInfoIdentifier;
extern const CFStringRef kSecCodeInfoTeamIdentifier;

OSStatus SecCodeCopySelf(std::uint32_t flags, SecCodeRef* self);
OSStatus SecCodeCopyStaticCode(SecCodeRef code, std::uint32_t flags, SecStaticCodeRef* staticCode);
OSStatus SecStaticCodeCheckValidity(SecStaticCodeRef staticCode, std::uint32_t flags,
                                    SecRequirementRef requirement);
OSStatus SecCodeCopySigningInformation(SecStaticCodeRef code, std::uint32_t flags,
                                       CFDictionaryRef* information);
OSStatus SecStaticCodeCreateWithPath(CFURLRef path, std::uint32_t flags,
                                     SecStaticCodeRef* staticCode);
OSStatus SecRequirementCreateWithString(CFStringRef text, std::uint32_t flags,
                                        SecRequirementRef* requirement);
