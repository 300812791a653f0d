// A double of CoreFoundation's release: `doubles` counts.
#pragma once

typedef const void* CFTypeRef;
typedef const struct DoubleString* CFStringRef;
typedef const struct DoubleDictionary* CFDictionaryRef;
typedef const struct DoubleURL* CFURLRef;

void CFRelease(CFTypeRef object);
