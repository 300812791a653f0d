#include "platform/memory.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace velmora {
namespace {

TEST(Memory, spareMemoryIsInAnotherUnitOrNotTheSystems) {
  const auto page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
  const auto all = static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) * page;
  EXPECT_GE(spareMemoryBytes(), std::uint64_t{1} << 20);
  EXPECT_LE(spareMemoryBytes(), all / 4 - all / 16) << "the reserve is not left alone";
}

}  // namespace
}  // namespace velmora
