// How much memory there is to spare, and giving back what is no longer used.
#pragma once

#include <cstdint>

namespace velmora {

// Bytes that may be taken into memory without putting the rest of the machine at risk: what the
// system could still give out (MemAvailable in proc_meminfo(5) on Linux) beyond a reserve of a
// quarter of the whole memory; or four mebibytes, as far as they are there. Allocation itself does
// not fail on a system that overcommits until it is too late. 0 when the system does not tell.
std::uint64_t spareMemoryBytes() noexcept;

// Has large blocks go back to the system whenever they are freed, for the life of the process.
// Before any other thread exists. mallopt(3) on Linux; nothing to do where the heap does so anyway.
void returnLargeBlocksWhenFreed() noexcept;

// Has what the process has freed go back to the system, for whichever thread it was kept:
// malloc_trim(3) on Linux, malloc_zone_pressure_relief on macOS.
void giveBackFreedMemory() noexcept;

}  // namespace velmora
