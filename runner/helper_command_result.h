// How a tool ended that ended in time.
#pragma once

#include <cstdint>
#include <string>

namespace velmora {

struct HelperCommandResult {
  // The exit status after a normal exit, the number of the signal that ended the tool otherwise.
  std::int32_t status;
  bool exitedNormally;

  // What the tool wrote to standard error: its first 16384 bytes, trimmed of white space and
  // newlines at both ends; empty when they could not be read or are not UTF-8.
  std::string diagnostic;

  // The one meaning of success, for every caller that needs its tool to succeed.
  bool succeeded() const { return exitedNormally && status == 0; }
};

}  // namespace velmora
