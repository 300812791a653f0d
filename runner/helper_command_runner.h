// Runs tools as child processes: no input, standard output thrown away, standard error kept in a
// private file for the time of the run. Stateless; any number of copies may run at the same time.
#pragma once

#include "runner/helper_command_running.h"

namespace velmora {

class HelperCommandRunner final : public HelperCommandRunning {
 public:
  [[nodiscard]] HelperCommandResult run(const std::string& executablePath,
                                        const std::vector<std::string>& arguments,
                                        double timeoutSeconds) const override;
  [[nodiscard]] HelperCommandResult runUnheard(const std::string& executablePath,
                                               const std::vector<std::string>& arguments,
                                               double timeoutSeconds) const override;
};

}  // namespace velmora
