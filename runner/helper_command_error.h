// What can go wrong with a tool, in the words that reach the client.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/localized_error.h"

namespace velmora {

struct HelperCommandResult;

class HelperCommandError : public LocalizedError {
 public:
  enum class Case { timedOut, failed, diagnosticUnavailable };

  // `executable` is the tool's bare name, never its path.
  static HelperCommandError timedOut(std::string executable);
  static HelperCommandError failed(std::string executable, std::int32_t status, std::string detail);
  static HelperCommandError diagnosticUnavailable();

  // `failed` for a tool whose result is no success.
  static HelperCommandError failed(std::string_view executablePath,
                                   const HelperCommandResult& result);

  Case kind() const noexcept { return case_; }
  std::string errorDescription() const override;

 private:
  explicit HelperCommandError(Case kind) : case_(kind) {}

  Case case_;
  std::string executable_;
  std::int32_t status_ = 0;
  std::string detail_;
};

// "killall" for "/usr/bin/killall".
std::string lastPathComponent(std::string_view path);

}  // namespace velmora
