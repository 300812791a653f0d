// The private file that takes a tool's standard error for the time of one run. It is created and
// used through one descriptor and never looked up again by name, so that nothing another user does
// in the temporary folder can put a different file in its place.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

#include "platform/file_descriptor.h"

namespace velmora {

class DiagnosticFile {
 public:
  static constexpr std::size_t maximumBytes = 16384;

  // Creates the file: new, empty, readable and writable by its owner alone whatever the umask.
  // Raises HelperCommandError::diagnosticUnavailable; no file is left then.
  DiagnosticFile();
  DiagnosticFile(const DiagnosticFile&) = delete;
  DiagnosticFile& operator=(const DiagnosticFile&) = delete;

  // Removes the file.
  ~DiagnosticFile();

  // Owned by this object.
  int descriptor() const { return file_.get(); }

  // The text of the first `maximumBytes` bytes, trimmed of white space and newlines at both ends.
  // Empty when they cannot be read or are not UTF-8, also because a character is cut at the limit.
  // Never raises: a tool's run must not be forgotten because its words cannot be kept.
  std::string text() const noexcept;

 private:
  std::filesystem::path path_;
  FileDescriptor file_;
};

}  // namespace velmora
