// Carries out what the command line asks for.
#pragma once

#include "client/exit_status.h"

namespace velmora {

// Returns the exit status. Output goes to standard output, everything that went wrong to
// standard error.
ExitStatus runCommand(int argumentCount, char** arguments);

}  // namespace velmora
