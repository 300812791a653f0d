// velmoractl remove
#pragma once

#include <string>
#include <vector>

#include "client/exit_status.h"

namespace velmora {

// Asks the helper to remove the items `keys`, after a confirmation unless `isConfirmed` or nobody
// can be asked, and prints what was removed, or after a failure what is gone all the same. Raises
// XPCConnectionError when no answer came.
ExitStatus runRemoveCommand(const std::vector<std::string>& keys, bool isConfirmed);

}  // namespace velmora
