// What the adapters use of Foundation, declared for the compiler of a machine without Apple's SDK.
// scripts/check_darwin holds every name here against the names of that SDK. Never used on a Mac.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <objc/NSObject.h>
#include <objc/objc.h>

#define NS_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define NS_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")

typedef unsigned short unichar;
typedef unsigned int UTF32Char;

typedef struct _NSRange {
  NSUInteger location;
  NSUInteger length;
} NSRange;

@class NSCharacterSet;

@interface NSString : NSObject
- (NSUInteger)length;
- (instancetype)initWithCharacters:(const unichar*)characters length:(NSUInteger)length;
- (void)getCharacters:(unichar*)buffer range:(NSRange)range;
- (NSString*)stringByTrimmingCharactersInSet:(NSCharacterSet*)set;
- (NSString*)decomposedStringWithCanonicalMapping;
- (NSString*)lowercaseString;
- (NSRange)rangeOfComposedCharacterSequenceAtIndex:(NSUInteger)index;
@end

@interface NSCharacterSet : NSObject
+ (NSCharacterSet*)whitespaceAndNewlineCharacterSet;
+ (NSCharacterSet*)alphanumericCharacterSet;
+ (NSCharacterSet*)nonBaseCharacterSet;
- (BOOL)longCharacterIsMember:(UTF32Char)character;
@end

@interface NSData : NSObject
+ (instancetype)dataWithBytes:(const void*)bytes length:(NSUInteger)length;
- (const void*)bytes;
- (NSUInteger)length;
@end

@interface NSDictionary : NSObject
- (id)objectForKey:(id)key;
@end

@interface NSURL : NSObject
+ (NSURL*)fileURLWithPath:(NSString*)path;
@end

@interface NSUUID : NSObject
+ (instancetype)UUID;
- (NSString*)UUIDString;
@end

@interface NSError : NSObject
- (NSInteger)code;
- (NSString*)localizedDescription;
@end

__attribute__((__objc_exception__))
@interface NSException : NSObject
- (NSString*)name;
- (NSString*)reason;
@end

@interface NSRunLoop : NSObject
+ (NSRunLoop*)currentRunLoop;
- (void)run;
@end

#include <Foundation/NSXPCConnection.h>
