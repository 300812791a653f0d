#include "platform/semaphore.h"

#include <algorithm>
#include <chrono>

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

void Semaphore::signal() noexcept {
  const std::lock_guard lock(mutex_);
  ++count_;
  signalled_.notify_one();
}

bool Semaphore::waitFor(double seconds) {
  const auto end = pointAfter(seconds);
  std::unique_lock lock(mutex_);
  if (!signalled_.wait_until(lock, end, [this] { return count_ > 0; })) return false;
  --count_;
  return true;
}

}  // namespace velmora
