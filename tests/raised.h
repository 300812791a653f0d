// The error that a piece of code is expected to raise, to be looked at.
#pragma once

#include <stdexcept>

namespace velmora {

// What `action` raises, which must be an `Error`; anything else it raises passes through, and
// raising nothing is raised as well, so that both fail the test.
template <typename Error, typename Action>
Error raised(const Action& action) {
  try {
    action();
  } catch (const Error& error) {
    return error;
  }
  throw std::logic_error("nothing was raised");
}

}  // namespace velmora
