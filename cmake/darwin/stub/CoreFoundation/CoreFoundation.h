// What the adapters use of CoreFoundation. See Foundation/Foundation.h.
#pragma once

#include <MacTypes.h>
#include <sys/types.h>

extern "C" {

typedef const void* CFTypeRef;
typedef const struct __attribute__((objc_bridge(NSString))) __CFString* CFStringRef;
typedef const struct __attribute__((objc_bridge(NSDictionary))) __CFDictionary* CFDictionaryRef;
typedef const struct __attribute__((objc_bridge(NSURL))) __CFURL* CFURLRef;

void CFRelease(CFTypeRef object);

}  // extern "C"
