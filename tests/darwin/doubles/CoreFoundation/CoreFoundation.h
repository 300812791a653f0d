// A double of CoreFoundation's release: `doubles` counts.
#pragma once

typedef const void* CFTypeRef;
typedef const struct DoubleString* CFStringRef;
typedef const struct DoubleDictionary* CFDictionaryRef;

void CFRelease(CFTypeRef object);
