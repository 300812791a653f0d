// Time passes only where `doubles` says so: what is to happen later happens then or never.
#pragma once

#include <cstdint>

constexpr double NSEC_PER_SEC = 1e9;
enum { DISPATCH_TIME_NOW, QOS_CLASS_DEFAULT };

inline std::int64_t dispatch_time(int /*start*/, std::int64_t nanoseconds) {
  return nanoseconds;
}
inline int dispatch_get_global_queue(int quality, int /*flags*/) {
  return quality;
}
void dispatch_after(std::int64_t time, int queue, void (^block)(void));
