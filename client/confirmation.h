// Asks the person at the terminal before something that cannot be taken back.
#pragma once

#include <string>

#include "client/command_line.h"

namespace velmora {

// Whether what `commandLine` asks for may be done: true with --yes; else `question` is put to the
// person on the terminal itself, so that no redirected stream hides it, and a line of the answer
// read. True of "y" and "yes" only, in any letter case; the end of input is a no. Ctrl-C and
// SIGTERM end the process, with their exit status. Only while no other thread runs.
// Raises UsageError when standard input is no terminal: a pipe says yes to nothing.
bool isAgreedTo(const CommandLine& commandLine, const std::string& question);

}  // namespace velmora
