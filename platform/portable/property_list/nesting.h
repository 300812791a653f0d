// How deep the containers of a property list may lie in each other.
#pragma once

#include <cstddef>

namespace velmora {

// Apple's reader refuses arrays and dictionaries of XML and OpenStep text that are nested deeper.
constexpr std::size_t maximumNesting = 512;

}  // namespace velmora
