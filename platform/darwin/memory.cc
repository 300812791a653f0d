#include "platform/memory.h"

#include <mach/mach.h>
#include <malloc/malloc.h>
#include <sys/sysctl.h>

#include <cstddef>

#include "platform/portable/memory_to_spare.h"

namespace velmora {
namespace {

// What is free, and what the system can take back without writing it anywhere first.
std::uint64_t availableBytes() noexcept {
  vm_statistics64_data_t statistics{};
  mach_msg_type_number_t count = HOST_VM_INFO64_COUNT;
  const mach_port_t host = mach_host_self();
  const kern_return_t result =
      host_statistics64(host, HOST_VM_INFO64, reinterpret_cast<host_info64_t>(&statistics), &count);
  mach_port_deallocate(mach_task_self(), host);
  if (result != KERN_SUCCESS) return 0;
  return (std::uint64_t{statistics.free_count} + statistics.external_page_count +
          statistics.purgeable_count) *
         vm_kernel_page_size;
}

std::uint64_t wholeBytes() noexcept {
  std::uint64_t bytes = 0;
  std::size_t size = sizeof bytes;
  return ::sysctlbyname("hw.memsize", &bytes, &size, nullptr, 0) == 0 ? bytes : 0;
}

}  // namespace

void returnLargeBlocksWhenFreed() noexcept {}

void giveBackFreedMemory() noexcept {
  ::malloc_zone_pressure_relief(nullptr, 0);
}

std::uint64_t spareMemoryBytes() noexcept {
  return memoryToSpare(availableBytes(), wholeBytes());
}

}  // namespace velmora
