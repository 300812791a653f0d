// Catching for tests in Objective-C++, which GNUstep's runtime cannot.
#pragma once

#include <functional>
#include <string>

#include "platform/xpc.h"

namespace velmora {

// The description of the LocalizedError that `call` raises; empty when it raises nothing.
std::string descriptionRaisedIn(const std::function<void()>& call);

// The cause of the XPCConnectionError that `call` has to raise.
XPCConnectionError::Cause causeRaisedIn(const std::function<void()>& call);

}  // namespace velmora
