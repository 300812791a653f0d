// What both ends of a connection are set up with.
#pragma once

#import <Foundation/Foundation.h>

#include <string>

namespace velmora {

// The interface that the helper exports and the client calls.
NSXPCInterface* helperInterface();

// From now on, `connection` ends at the first message of a peer that does not satisfy
// `requirement`. Raises PlatformError when the text is no requirement.
void setRequirement(NSXPCConnection* connection, const std::string& requirement);

}  // namespace velmora
