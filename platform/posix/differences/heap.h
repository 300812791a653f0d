// The C library's heap.
#pragma once

namespace velmora {

// Has large blocks go back to the system when they are freed, for the life of the process. Before
// any other thread exists. mallopt(3) on Linux; nothing to do on macOS, whose heap does so.
void returnLargeBlocksWhenFreed() noexcept;

}  // namespace velmora
