// The one lock that spans connections: at most one request that changes the system runs in the
// whole helper. It is only ever tried, never waited for.
#pragma once

#include <mutex>

namespace velmora {

// Created on first use, never destroyed.
std::mutex& operationLock();

}  // namespace velmora
