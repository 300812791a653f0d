#include "platform/posix/differences/heap.h"

#include <malloc.h>

namespace velmora {

// Left to itself, the C library raises its limit with the first large block that is freed, and then
// each thread's share of the heap keeps the next ones.
void returnLargeBlocksWhenFreed() noexcept {
  constexpr int largeBlockBytes = 256 * 1024;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): there is no other thread yet.
  ::mallopt(M_MMAP_THRESHOLD, largeBlockBytes);
}

}  // namespace velmora
