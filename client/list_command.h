// velmoractl list
#pragma once

#include "client/exit_status.h"

namespace velmora {

// Prints what could be removed for this process's user, and why the rest could not. Raises
// LegacyBackgroundItemRemovalError::userUnavailable.
ExitStatus runListCommand(bool asJSON);

}  // namespace velmora
