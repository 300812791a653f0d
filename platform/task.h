// One child process. The task owns it from launch to reaping; what is asked of a task after its
// process has been reaped never reaches a stranger's process of the same number.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace velmora {

class Task {
 public:
  enum class TerminationReason { exit, uncaughtSignal };

  struct Configuration {
    std::string executablePath;          // absolute; no search path is consulted
    std::vector<std::string> arguments;  // without the executable's own name, handed on unchanged

    // The caller's descriptors, only used during the launch. They become 0, 1 and 2 in the
    // child, which gets no other descriptor.
    int standardInput;
    int standardOutput;
    int standardError;
  };

  // Called once, when the process has ended and been reaped, on a thread of the platform's.
  // It must not raise and must hold on to whatever it uses: it may be called after the task is
  // gone.
  using TerminationHandler = std::function<void()>;

  Task(Configuration configuration, TerminationHandler terminationHandler);
  Task(const Task&) = delete;
  Task& operator=(const Task&) = delete;

  // Leaves a process that is still running alone; it is reaped when it ends.
  ~Task();

  // Starts the process, with default signal dispositions, an empty signal mask, and the helper's
  // environment and current folder. Raises PlatformError when the process cannot be started;
  // nothing runs then and the handler is never called. May be called once.
  void launch();

  // Sends SIGTERM; does nothing once the process has been reaped.
  void terminate();

  // Sends SIGKILL; does nothing once the process has been reaped.
  void kill();

  // The exit status, or the number of the signal that ended the process. When its end could not be
  // learnt, because it was reaped behind the task's back: -1, as if by an uncaught signal. Only
  // meaningful once the process has ended.
  int terminationStatus() const;
  TerminationReason terminationReason() const;

 private:
  class Process;

  Configuration configuration_;
  std::shared_ptr<Process> process_;  // shared with the thread that waits for the end
};

}  // namespace velmora
