#include "platform/code_signing.h"

#import <Foundation/Foundation.h>
#include <Security/Security.h>

#include <utility>

#include "platform/darwin/foundation_text.h"
#include "platform/darwin/owned_reference.h"

namespace velmora {

class Code::Implementation {
 public:
  OwnedReference<SecCodeRef> reference;
};

class StaticCode::Implementation {
 public:
  OwnedReference<SecStaticCodeRef> reference;
};

Code::Code(std::shared_ptr<const Implementation> implementation)
    : implementation_(std::move(implementation)) {}

StaticCode::StaticCode(std::shared_ptr<const Implementation> implementation)
    : implementation_(std::move(implementation)) {}

std::optional<Code> codeCopySelf() {
  auto self = std::make_shared<Code::Implementation>();
  const OSStatus status = SecCodeCopySelf(kSecCSDefaultFlags, self->reference.out());
  if (status != errSecSuccess || self->reference.get() == nullptr) return std::nullopt;
  return Code(std::move(self));
}

std::optional<StaticCode> codeCopyStaticCode(const Code& code) {
  auto onDisk = std::make_shared<StaticCode::Implementation>();
  const OSStatus status = SecCodeCopyStaticCode(code.implementation().reference.get(),
                                                kSecCSDefaultFlags, onDisk->reference.out());
  if (status != errSecSuccess || onDisk->reference.get() == nullptr) return std::nullopt;
  return StaticCode(std::move(onDisk));
}

bool staticCodeCheckValidity(const StaticCode& code) {
  return SecStaticCodeCheckValidity(code.implementation().reference.get(), kSecCSDefaultFlags,
                                    nullptr) == errSecSuccess;
}

std::optional<SigningInformation> codeCopySigningInformation(const StaticCode& code) {
  @autoreleasepool {
    OwnedReference<CFDictionaryRef> information;
    const OSStatus status = SecCodeCopySigningInformation(
        code.implementation().reference.get(), kSecCSSigningInformation, information.out());
    if (status != errSecSuccess || information.get() == nullptr) return std::nullopt;
    NSDictionary* values = (__bridge NSDictionary*)information.get();
    id team = [values objectForKey:(__bridge NSString*)kSecCodeInfoTeamIdentifier];
    if (![team isKindOfClass:[NSString class]]) return SigningInformation{};
    return SigningInformation{utf8Text(team)};
  }
}

}  // namespace velmora
