// What velmoractl was asked to do.
#pragma once

#include <string>
#include <vector>

#include "client/command.h"

namespace velmora {

struct CommandLine {
  const Command* command = nullptr;     // null where none was named, or none that exists
  bool wantsHelp = false;               // of the command, or of the whole program
  std::vector<std::string> items = {};  // keys of background items
  bool asJSON = false;
  bool isConfirmed = false;
  bool isWrong = false;
  std::string complaint = {};  // what is wrong, where getopt_long has not said it itself
};

// Reads the arguments with getopt_long(3), which says itself what is wrong with an option. Which
// items exist is not asked here.
CommandLine parseCommandLine(int argumentCount, char** arguments);

}  // namespace velmora
