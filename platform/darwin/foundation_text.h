// Text on its way to Foundation and back. It goes as UTF-16: from UTF-8, NSString drops a
// byte-order mark at the beginning, and a text would not be the text that was asked about.
#pragma once

#import <Foundation/Foundation.h>

#include <string>
#include <string_view>

namespace velmora {

// `text` is UTF-8.
NSString* foundationText(std::string_view text);

// In UTF-8; empty for nil.
std::string utf8Text(NSString* text);

}  // namespace velmora
