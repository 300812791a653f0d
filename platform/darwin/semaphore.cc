#include "platform/semaphore.h"

#include <dispatch/dispatch.h>

#include <cstdint>
#include <new>

namespace velmora {
namespace {

// Far enough away to be never, near enough for every clock's arithmetic.
constexpr double foreverSeconds = 1e9;

// On the clock that stops in sleep.
dispatch_time_t timeAfter(double seconds) {
  if (seconds >= foreverSeconds) return DISPATCH_TIME_FOREVER;
  const double bounded = seconds > 0 ? seconds : 0;
  return dispatch_time(DISPATCH_TIME_NOW, static_cast<std::int64_t>(bounded * NSEC_PER_SEC));
}

}  // namespace

class Semaphore::Implementation {
 public:
  Implementation() {
    if (semaphore == nullptr) throw std::bad_alloc();
  }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;
  ~Implementation() { dispatch_release(semaphore); }

  const dispatch_semaphore_t semaphore = dispatch_semaphore_create(0);
};

Semaphore::Semaphore() : implementation_(std::make_unique<Implementation>()) {}
Semaphore::~Semaphore() = default;

void Semaphore::signal() noexcept {
  dispatch_semaphore_signal(implementation_->semaphore);
}

bool Semaphore::waitFor(double seconds) {
  return dispatch_semaphore_wait(implementation_->semaphore, timeAfter(seconds)) == 0;
}

}  // namespace velmora
