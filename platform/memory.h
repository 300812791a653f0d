// How much memory there is to spare.
#pragma once

#include <cstdint>

namespace velmora {

// Bytes that may be taken into memory without putting the rest of the machine at risk: what the
// system could still give out (MemAvailable in proc_meminfo(5) on Linux) beyond a reserve of a
// quarter of the whole memory; or four mebibytes, as far as they are there. Allocation itself does
// not fail on a system that overcommits until it is too late. 0 when the system does not tell.
std::uint64_t spareMemoryBytes() noexcept;

}  // namespace velmora
