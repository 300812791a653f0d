#include "platform/code_inspection.h"

#import <Foundation/Foundation.h>
#include <Security/Security.h>

#include "platform/darwin/foundation_text.h"
#include "platform/darwin/owned_reference.h"
#include "platform/platform_error.h"

namespace velmora {
namespace {

using OwnedCode = OwnedReference<SecStaticCodeRef>;

bool open(const std::filesystem::path& executable, OwnedCode& code) {
  NSURL* url = [NSURL fileURLWithPath:foundationText(executable.string())];
  return SecStaticCodeCreateWithPath((__bridge CFURLRef)url, kSecCSDefaultFlags, code.out()) ==
         errSecSuccess;
}

CodeInspection::Verdict verdictOf(OSStatus status) {
  switch (status) {
    case errSecSuccess:
      return CodeInspection::Verdict::valid;
    case errSecCSUnsigned:
      return CodeInspection::Verdict::unsignedCode;
    case errSecCSSignatureFailed:
    case errSecCSBadResource:
      return CodeInspection::Verdict::altered;
    default:
      return CodeInspection::Verdict::untrusted;
  }
}

std::optional<std::string> textUnder(CFStringRef key, CFDictionaryRef information) {
  id text = [(__bridge NSDictionary*)information objectForKey:(__bridge NSString*)key];
  if (![text isKindOfClass:[NSString class]]) return std::nullopt;
  return utf8Text(text);
}

}  // namespace

CodeInspection inspectCode(const std::filesystem::path& executable) {
  @autoreleasepool {
    OwnedCode code;
    if (!open(executable, code)) return {};
    OwnedReference<CFDictionaryRef> information;
    if (SecCodeCopySigningInformation(code.get(), kSecCSSigningInformation, information.out()) !=
        errSecSuccess) {
      return {};
    }
    return {
        .verdict = verdictOf(SecStaticCodeCheckValidity(code.get(), kSecCSDefaultFlags, nullptr)),
        .identifier = textUnder(kSecCodeInfoIdentifier, information.get()).value_or(""),
        .teamIdentifier = textUnder(kSecCodeInfoTeamIdentifier, information.get())};
  }
}

bool codeSatisfies(const std::filesystem::path& executable, const std::string& requirement) {
  @autoreleasepool {
    OwnedReference<SecRequirementRef> parsed;
    NSString* text = foundationText(requirement);
    if (SecRequirementCreateWithString((__bridge CFStringRef)text, kSecCSDefaultFlags,
                                       parsed.out()) != errSecSuccess) {
      throw PlatformError("use", "the code signing requirement", "it is malformed");
    }
    OwnedCode code;
    return open(executable, code) && SecStaticCodeCheckValidity(code.get(), kSecCSDefaultFlags,
                                                                parsed.get()) == errSecSuccess;
  }
}

}  // namespace velmora
