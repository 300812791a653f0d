// Why the helper cannot be reached, or does not let this client in: what is to be seen of it by
// the user who asks.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace velmora {

struct Finding {
  enum class State { ok, problem, unknown };

  std::string check;  // what was looked at
  State state;
  std::string text;    // a sentence
  std::string remedy;  // a sentence about what to do; empty where nothing is
};

// Looks at the service, at the signatures of `client` and `helper` (executables) and at the log.
std::vector<Finding> diagnose(const std::filesystem::path& client,
                              const std::filesystem::path& helper);

}  // namespace velmora
