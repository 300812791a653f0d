// The block through which a method of the protocol answers. It is called exactly once: it can
// only be moved, and calling it consumes it, as in `std::move(reply)(true, std::nullopt)`.
#pragma once

#include <functional>
#include <utility>

namespace velmora {

template <typename... Values>
class Reply {
 public:
  using Block = std::function<void(Values...)>;

  explicit Reply(Block block) : block_(std::move(block)) {}
  Reply(Reply&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  Reply& operator=(Reply&&) = delete;
  Reply(const Reply&) = delete;
  Reply& operator=(const Reply&) = delete;
  ~Reply() = default;

  // Answers the call. Raises what the block raises; the reply is used up all the same.
  void operator()(Values... values) && {
    std::exchange(block_, nullptr)(std::forward<Values>(values)...);
  }

 private:
  Block block_;
};

}  // namespace velmora
