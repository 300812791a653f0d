// Reading and writing through a descriptor: the calls of POSIX, repeated as often as they want to
// be. What cannot be read or written is "nothing" or false, and errno says why.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "platform/file_descriptor.h"

namespace velmora {

// Fills `buffer` from `offset` of the opened file on: pread(2). Returns how much there was before
// the file's end; nothing when a part of it cannot be read.
[[nodiscard]] std::optional<std::size_t> readAt(const FileDescriptor& file, std::uint64_t offset,
                                                std::span<char> buffer) noexcept;

// The same with one call, which may give less for other reasons than the file's end.
[[nodiscard]] std::optional<std::size_t> readOnceAt(const FileDescriptor& file,
                                                    std::uint64_t offset,
                                                    std::span<char> buffer) noexcept;

// Puts all of `bytes` at `offset`: pwrite(2).
[[nodiscard]] bool writeAt(const FileDescriptor& file, std::uint64_t offset,
                           std::string_view bytes) noexcept;

}  // namespace velmora
