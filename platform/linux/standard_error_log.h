// Log lines on standard error, where no journal listens.
#pragma once

#include <string>
#include <string_view>

namespace velmora {

// `message` on one line: control characters as \n, \r, \t or \xHH, the backslash as \\, and
// bytes that are no text as U+FFFD. A NUL is a control character here like any other.
std::string escapingControlCharacters(std::string_view message);

// Writes `line`, which ends with a newline, without ever waiting: what a full or closed standard
// error does not take is lost.
void writeToStandardError(std::string_view line) noexcept;

}  // namespace velmora
