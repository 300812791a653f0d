// What velmoractl was asked to do.
#pragma once

#include <string>

#include "protocol/operations.h"

namespace velmora {

enum ExitStatus : int {
  done = 0,
  helperSaidNo = 1,
  wrongUsage = 2,
  noAnswer = 3,
  interrupted = 130,
};

struct CommandLine {
  enum class Action { showHelp, showVersion, performOperation, complain };

  Action action;
  const MaintenanceOperation* operation = nullptr;  // with performOperation
  std::string complaint = {};                       // with complain: what is wrong
};

// Reads the arguments with getopt_long(3), which says itself what is wrong with an option.
CommandLine parseCommandLine(int argumentCount, char** arguments);

// The text of --help.
std::string helpText();

}  // namespace velmora
