// A counting semaphore that starts at zero and whose wait takes any number of seconds, counted as
// systemUptime counts them. (std::counting_semaphore of libstdc++ 12 can miss a wake-up; libc++'s
// clocks go on while a Mac sleeps, for which macOS has a semaphore of its own.)
#pragma once

#include <memory>

namespace velmora {

class Semaphore {
 public:
  Semaphore();
  Semaphore(const Semaphore&) = delete;
  Semaphore& operator=(const Semaphore&) = delete;
  ~Semaphore();

  // Never raises.
  void signal() noexcept;

  // Waits for a signal, at most `seconds` from now, and takes it. Returns whether there was one.
  // Not greater than zero, or not a number: no waiting. Decades and more, or infinite: for ever.
  [[nodiscard]] bool waitFor(double seconds);

 private:
  class Implementation;

  std::unique_ptr<Implementation> implementation_;
};

}  // namespace velmora
