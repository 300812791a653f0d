// The owner of one file descriptor.
#pragma once

#include <utility>

namespace velmora {

class FileDescriptor {
 public:
  FileDescriptor() = default;

  // Takes ownership of `descriptor`; a negative one means none.
  explicit FileDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}

  FileDescriptor(FileDescriptor&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, none)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) reset(std::exchange(other.descriptor_, none));
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() { reset(); }

  int get() const noexcept { return descriptor_; }
  bool isOpen() const noexcept { return descriptor_ >= 0; }

  // Hands the descriptor over to the caller, who closes it.
  [[nodiscard]] int release() noexcept { return std::exchange(descriptor_, none); }

  // Closes what is held, once, whatever close says; errno is kept.
  void reset(int descriptor = none) noexcept;

 private:
  static constexpr int none = -1;
  int descriptor_ = none;
};

}  // namespace velmora
