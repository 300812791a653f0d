#include "platform/memory.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace velmora {
namespace {

TEST(Memory, spareMemoryIsInAnotherUnitOrNotTheSystems) {
  const auto page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
  const auto quarterOfFree = static_cast<std::uint64_t>(::sysconf(_SC_AVPHYS_PAGES)) * page / 4;
  const auto quarterOfAll = static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) * page / 4;
  // What is free is available but for a reserve of the kernel's, and changes from call to call.
  EXPECT_GT(spareMemoryBytes(), quarterOfFree / 4);
  EXPECT_LE(spareMemoryBytes(), quarterOfAll);
}

}  // namespace
}  // namespace velmora
