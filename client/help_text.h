// The texts of --help.
#pragma once

#include <string>
#include <string_view>

namespace velmora {

// Of the commands that `topic` names, at least one, or of the whole program when it is empty.
std::string helpText(std::string_view topic);

}  // namespace velmora
