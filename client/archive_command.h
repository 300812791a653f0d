// velmoractl archive list, velmoractl archive restore
#pragma once

#include "client/command_line.h"
#include "client/exit_status.h"

namespace velmora {

// Prints what lies in the archive; what is damaged there goes to standard error and makes the
// status ExitStatus::notDone. For root only, and so is the other. Raises what listArchive raises.
ExitStatus runArchiveListCommand(bool asJSON);

// Puts the items whose identifiers are the operands of `commandLine` back, after a confirmation,
// with --load their jobs as well. All are looked up first; one that is unknown or damaged has
// nothing restored. Then each stands for itself. Raises UsageError and what listArchive raises.
ExitStatus runArchiveRestoreCommand(const CommandLine& commandLine);

}  // namespace velmora
