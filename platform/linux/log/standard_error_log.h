// Log lines on standard error, where no journal listens.
#pragma once

#include <string>
#include <string_view>

namespace velmora {

// `message` on one line: control characters (C0 and C1) as \n, \r, \t or \xHH, the backslash as \\,
// and bytes that are no text as U+FFFD. A NUL is a control character here like any other.
std::string escapingControlCharacters(std::string_view message);

// Writes `line`, which ends with a newline, without waiting: what a full or closed standard error
// does not take is lost. A terminal that has been stopped, or a pipe that others fill at the same
// moment, can still make it wait.
void writeToStandardError(std::string_view line) noexcept;

}  // namespace velmora
