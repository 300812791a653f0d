// Where errors end: the service turns whatever ended a call into the text of its reply.
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace velmora {

// Runs `routine`. Returns the description of whatever it raised, or nothing when it completed. A
// failure is answered also when there is no memory for its description.
std::optional<std::string> failureOf(const std::function<void()>& routine);

}  // namespace velmora
