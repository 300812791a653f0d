#include "platform/task.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/file_descriptor.h"
#include "platform/platform_error.h"
#include "platform/posix/spawn_attributes.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): only glibc has it

namespace velmora {

// What the task and the waiting thread share. `pid_` may be signalled exactly while `running_`
// is true under the mutex, because reaping happens under it too.
class Task::Process {
 public:
  explicit Process(TerminationHandler handler) : handler_(std::move(handler)) {}

  // The launch has succeeded with `pid`, or failed when that is 0.
  void launched(pid_t pid) {
    const std::lock_guard lock(mutex_);
    decided_ = true;
    pid_ = pid;
    running_ = pid > 0;
    launchDecided_.notify_one();
  }

  // The body of the waiting thread.
  void awaitEnd() {
    const pid_t pid = awaitLaunch();
    if (pid <= 0) return;
    awaitEndWithoutReaping(pid);
    reap(pid);
    // Last, so that whoever it wakes finds the status.
    handler_();
  }

  void signal(int number) {
    const std::lock_guard lock(mutex_);
    if (running_) ::kill(pid_, number);
  }

  // Nothing when the end of the process could not be learnt.
  std::optional<int> waitStatus() {
    const std::lock_guard lock(mutex_);
    return waitStatus_;
  }

 private:
  pid_t awaitLaunch() {
    std::unique_lock lock(mutex_);
    launchDecided_.wait(lock, [this] { return decided_; });
    return pid_;
  }

  // Outside of the mutex, which signal() must be able to take for as long as the process runs; and
  // without reaping, because the number is free for another process from then on.
  static void awaitEndWithoutReaping(pid_t pid) {
    siginfo_t information{};
    while (::waitid(P_PID, static_cast<id_t>(pid), &information, WEXITED | WNOWAIT) != 0 &&
           errno == EINTR) {
    }
  }

  // The process has ended already, so this holds the mutex for a moment only.
  void reap(pid_t pid) {
    const std::lock_guard lock(mutex_);
    int status = 0;
    pid_t reaped = 0;
    do {
      reaped = ::waitpid(pid, &status, 0);
    } while (reaped < 0 && errno == EINTR);
    // Somebody else may have reaped it; then its end is not known.
    if (reaped == pid) waitStatus_ = status;
    running_ = false;
  }

  const TerminationHandler handler_;
  std::mutex mutex_;
  std::condition_variable launchDecided_;
  bool decided_ = false;
  bool running_ = false;
  pid_t pid_ = 0;
  std::optional<int> waitStatus_;
};

namespace {

// A duplicate above standard error, so that moving one descriptor to its place in the child
// cannot overwrite another that still has to be moved: the helper's own 0, 1 and 2 may be closed.
FileDescriptor duplicateAboveStandardError(int descriptor) {
  FileDescriptor duplicate(::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (!duplicate.isOpen()) throw PlatformError("prepare", "a child process", errno);
  return duplicate;
}

// posix_spawn takes the words as mutable, but does not change them.
std::vector<char*> wordsOf(const std::string& executablePath,
                           const std::vector<std::string>& arguments) {
  std::vector<char*> words;
  words.reserve(arguments.size() + 2);
  words.push_back(const_cast<char*>(executablePath.c_str()));
  for (const std::string& argument : arguments) {
    words.push_back(const_cast<char*>(argument.c_str()));
  }
  words.push_back(nullptr);
  return words;
}

pid_t spawn(const Task::Configuration& configuration) {
  const FileDescriptor input = duplicateAboveStandardError(configuration.standardInput);
  const FileDescriptor output = duplicateAboveStandardError(configuration.standardOutput);
  const FileDescriptor error = duplicateAboveStandardError(configuration.standardError);
  SpawnFileActions actions;
  actions.addDuplicate(input.get(), STDIN_FILENO);
  actions.addDuplicate(output.get(), STDOUT_FILENO);
  actions.addDuplicate(error.get(), STDERR_FILENO);
  SpawnAttributes attributes;
  const std::vector<char*> words = wordsOf(configuration.executablePath, configuration.arguments);

  pid_t pid = 0;
  const int code = ::posix_spawn(&pid, configuration.executablePath.c_str(), actions.get(),
                                 attributes.get(), words.data(), environ);
  if (code != 0) throw PlatformError("launch", configuration.executablePath, code);
  return pid;
}

}  // namespace

Task::Task(Configuration configuration, TerminationHandler terminationHandler)
    : configuration_(std::move(configuration)),
      process_(std::make_shared<Process>(std::move(terminationHandler))) {}

Task::~Task() = default;

void Task::launch() {
  // Ignoring SIGCHLD, which survives exec from whoever started the helper, makes the system reap
  // children by itself, and then a number could be signalled after its process is gone.
  ::signal(SIGCHLD, SIG_DFL);
  // The thread comes first: a process that nobody could wait for would stay a zombie.
  try {
    std::thread([process = process_] { process->awaitEnd(); }).detach();
  } catch (const std::system_error& error) {
    throw PlatformError("launch", configuration_.executablePath, error.code().value());
  }
  try {
    process_->launched(spawn(configuration_));
  } catch (...) {
    process_->launched(0);  // the thread would wait for ever
    throw;
  }
}

void Task::terminate() {
  process_->signal(SIGTERM);
}
void Task::kill() {
  process_->signal(SIGKILL);
}

int Task::terminationStatus() const {
  std::optional<int> status = process_->waitStatus();  // not const: some systems' macros mind
  if (!status) return -1;
  return WIFSIGNALED(*status) ? WTERMSIG(*status) : WEXITSTATUS(*status);
}

Task::TerminationReason Task::terminationReason() const {
  std::optional<int> status = process_->waitStatus();
  // An end that nobody saw must not count as a success.
  return !status || WIFSIGNALED(*status) ? TerminationReason::uncaughtSignal
                                         : TerminationReason::exit;
}

}  // namespace velmora
