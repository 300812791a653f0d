#include "platform/process_info.h"

#include <ctime>

namespace velmora {

double systemUptime() noexcept {
  return static_cast<double>(::clock_gettime_nsec_np(CLOCK_UPTIME_RAW)) / 1e9;
}

}  // namespace velmora
