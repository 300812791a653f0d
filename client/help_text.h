// The texts of --help.
#pragma once

#include <string>

namespace velmora {

struct Command;

// Of the whole program, or of `command` when that is not null.
std::string helpText(const Command* command);

}  // namespace velmora
