// How much memory there is to spare.
#pragma once

#include <cstdint>

namespace velmora {

// Bytes that one file may take into memory without putting the rest of the machine at risk: a
// quarter of what the system says it could still give out (MemAvailable in proc_meminfo(5) on
// Linux), since reading a file takes a small multiple of its size. Allocation itself does not
// fail on a system that overcommits until it is too late. 0 when the system does not tell.
std::uint64_t spareMemoryBytes() noexcept;

}  // namespace velmora
