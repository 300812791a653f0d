// Reading bytes from the front: what has been taken is gone.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

namespace velmora {

class Cursor {
 public:
  explicit constexpr Cursor(std::string_view bytes) : rest_(bytes) {}

  constexpr std::string_view rest() const { return rest_; }
  constexpr bool isAtEnd() const { return rest_.empty(); }
  // The byte at the front; NUL at the end.
  constexpr char front() const { return rest_.empty() ? '\0' : rest_.front(); }
  constexpr bool startsWith(std::string_view expected) const { return rest_.starts_with(expected); }
  // The same of a literal, whose bytes are compared as numbers.
  template <std::size_t Size>
  bool startsWith(const char (&expected)[Size]) const {
    return rest_.size() >= Size - 1 && std::memcmp(rest_.data(), expected, Size - 1) == 0;
  }

  // Takes `count` bytes; there must be so many.
  constexpr std::string_view take(std::size_t count) {
    const std::string_view taken = rest_.substr(0, count);
    rest_.remove_prefix(count);
    return taken;
  }

  // Takes `expected` if it stands at the front.
  constexpr bool accept(std::string_view expected) {
    if (!rest_.starts_with(expected)) return false;
    rest_.remove_prefix(expected.size());
    return true;
  }

  template <std::size_t Size>
  bool accept(const char (&expected)[Size]) {
    if (!startsWith(expected)) return false;
    rest_.remove_prefix(Size - 1);
    return true;
  }

  constexpr bool accept(char expected) {
    if (rest_.empty() || rest_.front() != expected) return false;
    rest_.remove_prefix(1);
    return true;
  }

  // Takes one byte if it is one of `characters`.
  constexpr bool acceptAny(std::string_view characters) {
    if (rest_.empty() || characters.find(rest_.front()) == std::string_view::npos) return false;
    rest_.remove_prefix(1);
    return true;
  }

  // Takes all bytes up to the first that is not `wanted`.
  template <typename Predicate>
  constexpr std::string_view takeWhile(Predicate wanted) {
    std::size_t count = 0;
    while (count < rest_.size() && wanted(rest_[count])) ++count;
    return take(count);
  }

  // Takes all up to the end of the first `end` that begins `from` bytes on or later; nothing and
  // false when there is none.
  constexpr bool skipPast(std::string_view end, std::size_t from = 0) {
    const std::size_t at = rest_.find(end, from);
    if (at == std::string_view::npos) return false;
    rest_.remove_prefix(at + end.size());
    return true;
  }

 private:
  std::string_view rest_;
};

}  // namespace velmora
