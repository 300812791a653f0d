// Where exceptions end in front of a system's callback: no frame of C or Objective-C is ever
// crossed by one.
#pragma once

#include <memory>
#include <type_traits>

namespace velmora {

// Calls `function` with `context`; every exception ends here. Returns whether there was none.
// Allocates nothing.
bool containedCall(void (*function)(void* context), void* context) noexcept;

// The same for anything that can be called.
template <typename Call>
bool contained(Call&& call) noexcept {
  using Callable = std::remove_reference_t<Call>;
  return containedCall([](void* context) { (*static_cast<Callable*>(context))(); },
                       std::addressof(call));
}

}  // namespace velmora
