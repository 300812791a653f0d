// How much memory there is to spare.
#pragma once

#include <cstdint>

namespace velmora {

// Bytes that one more file may take into memory without putting the rest of the machine at risk:
// a quarter, since reading a file takes a small multiple of its size, of what the system could
// still give out (MemAvailable in proc_meminfo(5) on Linux) beyond a reserve of a quarter of the
// whole memory, which however many files that are kept together leave alone; or one mebibyte, as
// long as four are there. Allocation itself does not fail on a system that overcommits until it
// is too late. 0 when the system does not tell.
std::uint64_t spareMemoryBytes() noexcept;

}  // namespace velmora
