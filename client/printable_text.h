// Text from outside on its way to a terminal.
#pragma once

#include <string>
#include <string_view>

namespace velmora {

// `bytes` so that a terminal can only show it: control characters, line separators and what turns
// or hides text (bidirectional and invisible format characters) become \n, \xHH or \u{H}, each
// byte that is no part of a character \xHH, and a backslash two.
std::string printableText(std::string_view bytes);

}  // namespace velmora
