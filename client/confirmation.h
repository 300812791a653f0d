// Asks the person at the terminal before something that cannot be taken back.
#pragma once

#include <string>

namespace velmora {

// Whether there is somebody to ask: standard input is a terminal.
bool canAskForConfirmation();

// Shows `question` on standard error, which is the person's even where standard output is a
// pipe, and reads a line of the answer. True of "y" and "yes" only, in any letter case; the end
// of input is a no. Ctrl-C ends the process with ExitStatus::interrupted. Only while no other
// thread runs.
bool confirm(const std::string& question);

}  // namespace velmora
