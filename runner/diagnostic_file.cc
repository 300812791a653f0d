#include "runner/diagnostic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <new>
#include <optional>

#include "platform/descriptor_io.h"
#include "platform/files.h"
#include "platform/platform_error.h"
#include "platform/text.h"
#include "platform/utf8.h"
#include "platform/uuid.h"
#include "runner/helper_command_error.h"

namespace velmora {
namespace {

constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;

std::filesystem::path freshPath() {
  try {
    return temporaryDirectory() / ("driftwhale-helper-" + uuidString() + ".stderr");
  } catch (const PlatformError&) {
    throw HelperCommandError::diagnosticUnavailable();
  }
}

// The first bytes of the file, as many as count; none when reading them fails.
std::string readBeginning(const FileDescriptor& file) {
  std::string bytes(DiagnosticFile::maximumBytes, '\0');
  const std::optional<std::size_t> size = readAt(file, 0, bytes);
  bytes.resize(size.value_or(0));
  return bytes;
}

}  // namespace

DiagnosticFile::DiagnosticFile()
    : path_(freshPath()),
      file_(::open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, ownerOnly)) {
  if (!file_.isOpen()) throw HelperCommandError::diagnosticUnavailable();
  // The umask may have taken away what the helper itself needs.
  if (::fchmod(file_.get(), ownerOnly) != 0) {
    ::unlink(path_.c_str());
    throw HelperCommandError::diagnosticUnavailable();
  }
}

DiagnosticFile::~DiagnosticFile() {
  ::unlink(path_.c_str());
}

std::string DiagnosticFile::text() const noexcept {
  try {
    // What the tool wrote is seen here without a flush, and a flush could take as long as a tool
    // that writes without end wants it to.
    const std::optional<std::string> text = decodeUTF8(readBeginning(file_));
    return text ? trimWhitespaceAndNewlines(*text) : std::string();
  } catch (const std::bad_alloc&) {
    return {};
  }
}

}  // namespace velmora
