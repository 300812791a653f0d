// The interface through which the helper runs tools, so that tests can stand in for them.
#pragma once

#include <string>
#include <vector>

#include "platform/deadline.h"
#include "runner/helper_command_result.h"

namespace velmora {

class HelperCommandRunning {
 public:
  HelperCommandRunning() = default;
  HelperCommandRunning(const HelperCommandRunning&) = default;
  HelperCommandRunning& operator=(const HelperCommandRunning&) = default;
  virtual ~HelperCommandRunning() = default;

  // Runs the tool at the absolute path `executablePath` with exactly `arguments` and waits for
  // it, at most `timeoutSeconds` from its launch; then stops it, which takes up to four seconds
  // more. A limit that is not greater than zero, or not a number, stops the tool at once; an
  // infinite one never does. Any end in time is a result, whatever its status.
  // Raises HelperCommandError::diagnosticUnavailable (the tool was not started), the launch error
  // unchanged, or HelperCommandError::timedOut.
  [[nodiscard]] virtual HelperCommandResult run(const std::string& executablePath,
                                                const std::vector<std::string>& arguments,
                                                double timeoutSeconds) const = 0;

  // The same for a tool whose words nobody wants: they are thrown away, and the result has none. It
  // needs no room for them, and never raises diagnosticUnavailable.
  [[nodiscard]] virtual HelperCommandResult runUnheard(const std::string& executablePath,
                                                       const std::vector<std::string>& arguments,
                                                       double timeoutSeconds) const = 0;

  // Runs the tool with the time that is left until `deadline`, so that the tools of one operation
  // share its budget.
  // Raises HelperCommandError::timedOut, starting nothing, when none is left; else what run raises.
  [[nodiscard]] HelperCommandResult runBeforeDeadline(const std::string& executablePath,
                                                      const std::vector<std::string>& arguments,
                                                      Deadline deadline) const;
};

}  // namespace velmora
