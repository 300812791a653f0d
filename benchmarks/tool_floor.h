// The least that running a tool with its words kept can take: what HelperCommandRunner is held
// against.
#pragma once

#include <string>
#include <vector>

namespace velmora::bench {

// Starts the tool with posix_spawn, without input, its output thrown away and its standard error
// the descriptor `error`, where there is one, and waits. Returns the wait status. Raises
// std::runtime_error.
int spawnAndWait(const std::string& path, const std::vector<std::string>& arguments,
                 int error = -1);

// Runs the tool in this way, its standard error in a new private file that is read afterwards, and
// then is gone.
int runToolBarely(const std::string& path, const std::vector<std::string>& arguments);

}  // namespace velmora::bench
