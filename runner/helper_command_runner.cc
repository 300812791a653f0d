#include "runner/helper_command_runner.h"

#include <fcntl.h>

#include <cerrno>
#include <memory>

#include "platform/file_descriptor.h"
#include "platform/platform_error.h"
#include "platform/semaphore.h"
#include "platform/task.h"
#include "runner/diagnostic_file.h"
#include "runner/helper_command_error.h"

namespace velmora {
namespace {

constexpr double graceSeconds = 2.0;

FileDescriptor openNullDevice() {
  FileDescriptor device(::open("/dev/null", O_RDWR | O_CLOEXEC));
  if (!device.isOpen()) throw PlatformError("open", "/dev/null", errno);
  return device;
}

// Asks the tool to end, then makes it; a process that survives even that is abandoned.
void stop(Task& task, Semaphore& ended) {
  task.terminate();
  if (ended.waitFor(graceSeconds)) return;
  task.kill();
  (void)ended.waitFor(graceSeconds);  // the run is over either way
}

// How the tool ended, except for its words, which go to `standardError`.
HelperCommandResult runWith(const FileDescriptor& nullDevice, int standardError,
                            const std::string& executablePath,
                            const std::vector<std::string>& arguments, double timeoutSeconds) {
  // Shared with the handler, which may be called after this call has given up on the tool.
  const auto ended = std::make_shared<Semaphore>();
  Task task({.executablePath = executablePath,
             .arguments = arguments,
             .standardInput = nullDevice.get(),
             .standardOutput = nullDevice.get(),
             .standardError = standardError},
            [ended] { ended->signal(); });

  task.launch();
  if (!ended->waitFor(timeoutSeconds)) {
    // Also where the tool ended well while it was being stopped: it has overrun its time.
    stop(task, *ended);
    throw HelperCommandError::timedOut(lastPathComponent(executablePath));
  }
  return {.status = task.terminationStatus(),
          .exitedNormally = task.terminationReason() == Task::TerminationReason::exit,
          .diagnostic = {}};
}

}  // namespace

HelperCommandResult HelperCommandRunner::run(const std::string& executablePath,
                                             const std::vector<std::string>& arguments,
                                             double timeoutSeconds) const {
  const DiagnosticFile diagnostic;
  HelperCommandResult result =
      runWith(openNullDevice(), diagnostic.descriptor(), executablePath, arguments, timeoutSeconds);
  result.diagnostic = diagnostic.text();
  return result;
}

HelperCommandResult HelperCommandRunner::runUnheard(const std::string& executablePath,
                                                    const std::vector<std::string>& arguments,
                                                    double timeoutSeconds) const {
  const FileDescriptor nullDevice = openNullDevice();
  return runWith(nullDevice, nullDevice.get(), executablePath, arguments, timeoutSeconds);
}

}  // namespace velmora
