// Catching for tests in Objective-C++, which GNUstep's runtime cannot.
#pragma once

#include <functional>
#include <string>

namespace velmora {

// The description of the LocalizedError that `call` raises; empty when it raises nothing.
std::string raisedDescription(const std::function<void()>& call);

}  // namespace velmora
