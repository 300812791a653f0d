// The clock of every deadline.
#pragma once

namespace velmora {

// Seconds since boot on a clock that is never set and that every thread sees alike.
// CLOCK_MONOTONIC on Linux, CLOCK_UPTIME_RAW on macOS: clock_gettime(2). Sleep does not count.
double systemUptime() noexcept;

}  // namespace velmora
