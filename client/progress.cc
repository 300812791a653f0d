#include "client/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
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
#include "client/interruption.h"
#include "platform/process_info.h"

namespace velmora {
namespace {

// How soon a signal is answered, and a second that has passed is shown.
constexpr std::chrono::milliseconds lookInterval(100);

constexpr const char* waitingText = "waiting for another operation to end";

volatile std::sig_atomic_t signalSeen = 0;

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

Progress::Progress(std::string title, double budgetSeconds, std::string outcomeHint, bool isSilent)
    : title_(std::move(title)),
      budgetSeconds_(budgetSeconds),
      outcomeHint_(std::move(outcomeHint)),
      display_(isSilent                     ? Display::nothing
               : standardOutputIsTerminal() ? Display::line
                                            : Display::lines),
      askedAt_(systemUptime()) {}

void Progress::showWhile(const std::function<void()>& call) {
  std::mutex mutex;
  std::condition_variable ended;
  bool hasEnded = false;
  std::exception_ptr failure;

  InterruptionWatch watch([](int signal) { signalSeen = signal; });
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
    ended.wait_for(lock, lookInterval);
    if (signalSeen != 0 && !hasEnded) endInterrupted();
  }
  lock.unlock();
  caller.join();
  erase();
  if (failure) std::rethrow_exception(failure);
}

void Progress::noteAsked() {
  askedAt_ = systemUptime();
  isAsked_ = true;
  sayOnce(isAskingSaid_, "asked for, at most " + durationText(budgetSeconds_));
}

void Progress::noteBusy() {
  isAsked_ = false;
  if (waitingSince_ == 0) waitingSince_ = systemUptime();
  sayOnce(isWaitingSaid_, waitingText);
}

double Progress::elapsedSeconds() const {
  return systemUptime() - askedAt_;
}

void Progress::conclude() const {
  if (display_ == Display::nothing) return;
  std::printf("%s: done after %.1f s\n", title_.c_str(), elapsedSeconds());
}

void Progress::sayOnce(bool& isSaid, const std::string& text) const {
  if (display_ != Display::lines || std::exchange(isSaid, true)) return;
  std::printf("%s: %s\n", title_.c_str(), text.c_str());
  (void)std::fflush(stdout);
}

std::string Progress::currentText() const {
  // A busy helper answers at once; until then, the line is not to change with every new attempt.
  constexpr double attemptSeconds = 0.5;
  const double elapsed = elapsedSeconds();
  const bool isWaiting = waitingSince_ != 0 && (!isAsked_ || elapsed < attemptSeconds);
  if (isWaiting) {
    return title_ + ": " + durationText(systemUptime() - waitingSince_) + ", " + waitingText;
  }
  return title_ + ": " + durationText(elapsed) + " of at most " + durationText(budgetSeconds_);
}

void Progress::draw() {
  if (display_ != Display::line) return;
  std::string line = currentText();
  line.resize(std::min(line.size(), usableColumns()));
  if (line == drawn_) return;
  std::printf("\r%s\x1b[K", line.c_str());
  (void)std::fflush(stdout);
  drawn_ = std::move(line);
}

void Progress::erase() {
  if (display_ != Display::line) return;
  std::fputs("\r\x1b[K", stdout);
  (void)std::fflush(stdout);
  drawn_.clear();
}

void Progress::endInterrupted() {
  erase();
  if (isAsked_) {
    std::fprintf(stderr, "velmoractl: interrupted; the helper carries on with: %s\n%s\n",
                 title_.c_str(), outcomeHint_.c_str());
  } else {
    std::fprintf(stderr, "velmoractl: interrupted; the helper was not asked for: %s\n",
                 title_.c_str());
  }
  (void)std::fflush(stdout);
  // The caller's thread still waits for the answer and uses what a normal exit would destroy.
  std::_Exit(exitStatusOfSignal(signalSeen));
}

}  // namespace velmora
