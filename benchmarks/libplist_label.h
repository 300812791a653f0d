// The label of a property list by libplist: what our reader is held against.
#pragma once

#include <string>
#include <string_view>

namespace velmora::bench {

// The text under "Label" in the property list's dictionary; empty without one.
std::string labelByLibplist(std::string_view bytes);

}  // namespace velmora::bench
