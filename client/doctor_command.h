// velmoractl doctor
#pragma once

#include "client/exit_status.h"

namespace velmora {

// Prints what was found; ExitStatus::notDone where there is a problem.
ExitStatus runDoctorCommand(bool asJSON);

}  // namespace velmora
