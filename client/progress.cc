#include "client/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>

#include "client/duration.h"
#include "client/exit_status.h"
#include "platform/process_info.h"

namespace velmora {
namespace {

constexpr std::chrono::milliseconds redrawInterval(100);

volatile std::sig_atomic_t interruptSeen = 0;

// For its life, Ctrl-C only sets interruptSeen, in the thread that made this object; threads
// started before releaseInThisThread never see the signal.
class InterruptWatch {
 public:
  InterruptWatch() {
    sigemptyset(&interrupt_);
    sigaddset(&interrupt_, SIGINT);
    ::pthread_sigmask(SIG_BLOCK, &interrupt_, &maskBefore_);
    struct sigaction action {};
    action.sa_handler = [](int) { interruptSeen = 1; };
    ::sigaction(SIGINT, &action, &actionBefore_);
  }
  InterruptWatch(const InterruptWatch&) = delete;
  InterruptWatch& operator=(const InterruptWatch&) = delete;
  ~InterruptWatch() {
    ::sigaction(SIGINT, &actionBefore_, nullptr);
    ::pthread_sigmask(SIG_SETMASK, &maskBefore_, nullptr);
  }

  void releaseInThisThread() { ::pthread_sigmask(SIG_UNBLOCK, &interrupt_, nullptr); }

 private:
  sigset_t interrupt_{};
  sigset_t maskBefore_{};
  struct sigaction actionBefore_ {};
};

bool standardOutputIsTerminal() {
  // No other thread changes the environment.  NOLINTNEXTLINE(concurrency-mt-unsafe)
  const char* kind = std::getenv("TERM");
  return ::isatty(STDOUT_FILENO) == 1 && kind != nullptr && std::strcmp(kind, "dumb") != 0;
}

// A line that reaches the last column would wrap, and could not be erased.
std::size_t usableColumns() {
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 79;
  return size.ws_col - 1U;
}

}  // namespace

Progress::Progress(std::string title, double budgetSeconds)
    : title_(std::move(title)),
      budgetSeconds_(budgetSeconds),
      onTerminal_(standardOutputIsTerminal()),
      start_(systemUptime()) {}

void Progress::showWhile(const std::function<void()>& call) {
  std::mutex mutex;
  std::condition_variable ended;
  bool hasEnded = false;
  std::exception_ptr failure;

  if (!onTerminal_) {
    std::printf("%s: started, at most %s\n", title_.c_str(), durationText(budgetSeconds_).c_str());
    std::fflush(stdout);
  }
  InterruptWatch watch;
  std::thread caller([&] {
    try {
      call();
    } catch (...) {
      failure = std::current_exception();
    }
    const std::lock_guard lock(mutex);
    hasEnded = true;
    ended.notify_one();
  });
  watch.releaseInThisThread();

  std::unique_lock lock(mutex);
  while (!hasEnded) {
    draw();
    ended.wait_for(lock, redrawInterval);
    if (interruptSeen != 0 && !hasEnded) endInterrupted();
  }
  lock.unlock();
  caller.join();
  erase();
  if (failure) std::rethrow_exception(failure);
}

void Progress::conclude() const {
  std::printf("%s: done after %.1f s\n", title_.c_str(), elapsedSeconds());
}

double Progress::elapsedSeconds() const {
  return systemUptime() - start_;
}

void Progress::draw() const {
  if (!onTerminal_) return;
  std::string line = title_ + ": " + durationText(elapsedSeconds()) + " of at most " +
                     durationText(budgetSeconds_);
  line.resize(std::min(line.size(), usableColumns()));
  std::printf("\r%s\x1b[K", line.c_str());
  std::fflush(stdout);
}

void Progress::erase() const {
  if (!onTerminal_) return;
  std::fputs("\r\x1b[K", stdout);
  std::fflush(stdout);
}

void Progress::endInterrupted() const {
  erase();
  std::fprintf(stderr, "velmoractl: interrupted; the helper carries on with: %s\n", title_.c_str());
  std::fflush(stdout);
  // The caller's thread still waits for the answer and uses what a normal exit would destroy.
  std::_Exit(ExitStatus::interrupted);
}

}  // namespace velmora
