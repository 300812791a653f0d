// A failure of the operating system: what was tried, on what, and the system's reason.
#pragma once

#include <string>

#include "platform/localized_error.h"

namespace velmora {

class PlatformError : public LocalizedError {
 public:
  // `operation` and `subject` begin a sentence ("open", "/dev/null"); `code` is an errno value.
  PlatformError(std::string operation, std::string subject, int code);

  // For failures without an errno value: `reason` takes its place in the description.
  PlatformError(std::string operation, std::string subject, std::string reason);

  // The errno value, or 0.
  int code() const noexcept { return code_; }

  // "Could not open /dev/null: Too many open files."
  std::string errorDescription() const override { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  int code_;
  std::string description_;
};

}  // namespace velmora
