// What velmoractl was asked to do.
#pragma once

#include <string>
#include <vector>

#include "client/command.h"

namespace velmora {

struct CommandLine {
  const Command* command = nullptr;  // null with wantsHelp or wantsVersion only
  bool wantsVersion = false;         // this program's own
  bool wantsHelp = false;
  std::string topic = {};                  // of the help: a command, the first word of several, or
                                           // empty for the whole program
  std::vector<std::string> operands = {};  // items or archive records, as they were given
  unsigned options = Command::none;
  double waitSeconds = 0;  // how long to try again while the helper is busy; infinity for ever

  bool has(Command::Option option) const { return (options & option) != 0; }
};

// Reads the arguments with getopt_long(3), which says itself what is wrong with an option. Which
// items exist is not asked here. Raises UsageError.
CommandLine parseCommandLine(int argumentCount, char** arguments);

}  // namespace velmora
