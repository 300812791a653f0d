#include "runner/helper_command_running.h"

#include "runner/helper_command_error.h"

namespace velmora {

HelperCommandResult HelperCommandRunning::runBeforeDeadline(
    const std::string& executablePath, const std::vector<std::string>& arguments,
    Deadline deadline) const {
  const double remainingSeconds = deadline.remainingSeconds();
  // Said this way round, a remaining time that is not a number counts as none.
  if (!(remainingSeconds > 0)) {
    throw HelperCommandError::timedOut(lastPathComponent(executablePath));
  }
  return run(executablePath, arguments, remainingSeconds);
}

}  // namespace velmora
