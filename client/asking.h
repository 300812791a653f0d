// Asking the helper for one operation, again if it is busy.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "client/command_line.h"
#include "client/exit_status.h"
#include "client/progress.h"
#include "protocol/velmora_maintenance_helper_xpc.h"

namespace velmora {

struct Answer {
  bool ok = false;
  std::string message;  // why not
  Data response = {};   // of a removal

  bool isBusy() const;
};

using Call = std::function<Answer(VelmoraMaintenanceHelperXPC& helper)>;

// Connects and makes `call`; as long as another operation runs, again for up to `waitSeconds`.
// Raises XPCConnectionError when no answer came; an end after the helper had answered its version
// is told apart from a refusal.
Answer askHelper(Progress& progress, double waitSeconds, const Call& call);

// With --json, the outcome on standard output: one object with "ok", "message" (where not ok),
// "seconds", and "removed" where `removed` is not null.
void printOutcome(const CommandLine& commandLine, bool ok, const std::string& message,
                  double seconds, const std::vector<std::string>* removed);

// Says on standard error why not, and returns what that means to the shell.
ExitStatus reportRefusal(const Answer& answer);

}  // namespace velmora
