#include "platform/semaphore.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace velmora {
namespace {

// Far enough away to be never, near enough for every clock's arithmetic.
constexpr double foreverSeconds = 1e9;

std::chrono::steady_clock::time_point pointAfter(double seconds) {
  const double bounded = seconds > 0 ? std::min(seconds, foreverSeconds) : 0;
  return std::chrono::steady_clock::now() +
         std::chrono::duration_cast<std::chrono::steady_clock::duration>(
             std::chrono::duration<double>(bounded));
}

}  // namespace

class Semaphore::Implementation {
 public:
  void signal() noexcept {
    const std::lock_guard lock(mutex_);
    ++count_;
    // Under the mutex: once it is free, whoever waits may go and destroy this.
    signalled_.notify_one();
  }

  bool waitFor(double seconds) {
    const auto end = pointAfter(seconds);
    std::unique_lock lock(mutex_);
    if (!signalled_.wait_until(lock, end, [this] { return count_ > 0; })) return false;
    --count_;
    return true;
  }

 private:
  std::mutex mutex_;
  std::condition_variable signalled_;
  unsigned count_ = 0;
};

Semaphore::Semaphore() : implementation_(std::make_unique<Implementation>()) {}
Semaphore::~Semaphore() = default;

void Semaphore::signal() noexcept {
  implementation_->signal();
}

bool Semaphore::waitFor(double seconds) {
  return implementation_->waitFor(seconds);
}

}  // namespace velmora
