#include "runner/helper_command_error.h"

#include <filesystem>
#include <utility>

#include "platform/unreachable.h"
#include "runner/helper_command_result.h"

namespace velmora {

HelperCommandError HelperCommandError::timedOut(std::string executable) {
  HelperCommandError error(Case::timedOut);
  error.executable_ = std::move(executable);
  return error;
}

HelperCommandError HelperCommandError::failed(std::string executable, std::int32_t status,
                                              std::string detail) {
  HelperCommandError error(Case::failed);
  error.executable_ = std::move(executable);
  error.status_ = status;
  error.detail_ = std::move(detail);
  return error;
}

HelperCommandError HelperCommandError::diagnosticUnavailable() {
  return HelperCommandError(Case::diagnosticUnavailable);
}

HelperCommandError HelperCommandError::failed(std::string_view executablePath,
                                              const HelperCommandResult& result) {
  return failed(lastPathComponent(executablePath), result.status, result.diagnostic);
}

std::string HelperCommandError::errorDescription() const {
  switch (case_) {
    case Case::timedOut:
      return executable_ + " did not finish in time, so the maintenance helper stopped it.";
    case Case::failed:
      return executable_ + " exited with status " + std::to_string(status_) +
             (detail_.empty() ? "" : ": " + detail_);
    case Case::diagnosticUnavailable:
      return "The maintenance helper could not create a secure diagnostic file.";
  }
  unreachable();
}

std::string lastPathComponent(std::string_view path) {
  return std::filesystem::path(path).filename().string();
}

}  // namespace velmora
