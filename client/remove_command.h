// velmoractl remove
#pragma once

#include "client/command_line.h"
#include "client/exit_status.h"

namespace velmora {

// Asks the helper to remove the items of `commandLine`, after a confirmation, and prints what was
// removed, or after a failure what is gone all the same and what speaks against the rest. With
// --dry-run it only says what would be asked for, and whether anything speaks against it. Raises
// UsageError, and XPCConnectionError when no answer came.
ExitStatus runRemoveCommand(const CommandLine& commandLine);

}  // namespace velmora
