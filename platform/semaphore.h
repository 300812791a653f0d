// A counting semaphore that starts at zero and whose wait takes any number of seconds.
// (std::counting_semaphore of libstdc++ 12 can miss a wake-up.)
#pragma once

#include <condition_variable>
#include <mutex>

namespace velmora {

class Semaphore {
 public:
  // Never raises.
  void signal() noexcept;

  // Waits for a signal, at most `seconds` from now, and takes it. Returns whether there was one.
  // Not greater than zero, or not a number: no waiting. Decades and more, or infinite: for ever.
  [[nodiscard]] bool waitFor(double seconds);

 private:
  std::mutex mutex_;
  std::condition_variable signalled_;
  unsigned count_ = 0;
};

}  // namespace velmora
