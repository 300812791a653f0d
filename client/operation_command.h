// velmoractl flush-dns-cache and the other maintenance operations
#pragma once

#include "client/command_line.h"
#include "client/exit_status.h"

namespace velmora {

// Asks the helper for the operation of `commandLine`, after a confirmation where something is lost
// by it. Raises UsageError, and XPCConnectionError when no answer came.
ExitStatus runOperationCommand(const CommandLine& commandLine);

}  // namespace velmora
