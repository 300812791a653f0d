// foundation_lookup KEY FILE... looks up KEY in each FILE with Foundation's reader and prints what
// property_list_lookup prints. Not yet compiled on a Mac.
#import <Foundation/Foundation.h>

#include <cstdio>

#include "platform/property_list.h"

using Outcome = velmora::PropertyListString::Outcome;

static Outcome lookUp(NSString* key, NSData* data, NSString** value) {
  id root = [NSPropertyListSerialization propertyListWithData:data
                                                      options:NSPropertyListImmutable
                                                       format:nullptr
                                                        error:nullptr];
  if (root == nil) return Outcome::notAPropertyList;
  if (![root isKindOfClass:[NSDictionary class]]) return Outcome::notADictionary;
  for (id name in root) {
    if (![name isKindOfClass:[NSString class]]) return Outcome::notADictionary;
  }
  id found = [root objectForKey:key];
  if (found == nil) return Outcome::missing;
  if (![found isKindOfClass:[NSString class]]) return Outcome::notAString;
  *value = found;
  return Outcome::found;
}

int main(int argc, char* argv[]) {
  @autoreleasepool {
    for (int index = 2; index < argc; ++index) {
      NSData* data = [NSData dataWithContentsOfFile:[NSString stringWithUTF8String:argv[index]]];
      if (data == nil) return 1;
      NSString* value = nil;
      const Outcome outcome = lookUp([NSString stringWithUTF8String:argv[1]], data, &value);
      NSData* bytes = [value dataUsingEncoding:NSUTF8StringEncoding];
      std::printf("%d ", static_cast<int>(outcome));
      for (NSUInteger at = 0; at < [bytes length]; ++at) {
        std::printf("%02hhx", static_cast<const unsigned char*>([bytes bytes])[at]);
      }
      std::puts("");
    }
  }
  return 0;
}
