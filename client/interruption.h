// The signals by which a person or a system asks this program to end: Ctrl-C and SIGTERM.
#pragma once

#include <csignal>

namespace velmora {

// For its life, the two signals run `handler`, in the thread that made this object; threads
// started before releaseInThisThread never see them. One at a time.
class InterruptionWatch {
 public:
  explicit InterruptionWatch(void (*handler)(int));
  InterruptionWatch(const InterruptionWatch&) = delete;
  InterruptionWatch& operator=(const InterruptionWatch&) = delete;
  ~InterruptionWatch();

  void releaseInThisThread();

 private:
  sigset_t signals_{};
  sigset_t maskBefore_{};
  struct sigaction interruptBefore_ {};
  struct sigaction terminateBefore_ {};
};

}  // namespace velmora
