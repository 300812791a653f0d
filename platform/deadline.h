// A point in time by which something must be done. Made once, where a budget starts, and passed on;
// with a type of its own it cannot be mistaken for a number of seconds.
#pragma once

#include <limits>

#include "platform/process_info.h"

namespace velmora {

class Deadline {
 public:
  // `uptimeSeconds` as systemUptime counts them.
  explicit Deadline(double uptimeSeconds) : uptimeSeconds_(uptimeSeconds) {}

  // The budget of so many seconds starts now.
  static Deadline after(double budgetSeconds) { return Deadline(systemUptime() + budgetSeconds); }

  static Deadline never() { return Deadline(std::numeric_limits<double>::infinity()); }

  // Not greater than zero once it has passed.
  double remainingSeconds() const { return uptimeSeconds_ - systemUptime(); }

  // Said this way round, a deadline that is not a number has passed.
  bool hasPassed() const { return !(remainingSeconds() > 0); }

 private:
  double uptimeSeconds_;
};

}  // namespace velmora
