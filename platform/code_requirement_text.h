// The requirement that helper and client make of each other.
#pragma once

#include <optional>
#include <string>

namespace velmora {

// Demands the code signing identifier `identifier`, a certificate chain issued by Apple, and the
// team `teamIdentifier`. Nothing when the team identifier is empty or holds anything but ASCII
// letters and digits, which could change the requirement's meaning. `identifier` is one of ours.
std::optional<std::string> codeRequirementText(const std::string& identifier,
                                               const std::string& teamIdentifier);

}  // namespace velmora
