#include "removal/protected_file_operations.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "platform/descriptor_io.h"
#include "platform/files.h"

namespace velmora {
namespace {

constexpr int directoryFlags = O_RDONLY | O_NOFOLLOW | O_DIRECTORY | O_CLOEXEC;
constexpr int fileFlags = O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC;
constexpr std::size_t pieceBytes = 65536;

bool isRegularFileOwnedBy(const FileDescriptor& file, uid_t owner) {
  struct stat status {};
  return ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == owner;
}

// Compares while reading, so that a file that grows without end costs neither memory nor time.
bool holdsExactly(const FileDescriptor& file, std::string_view bytes) {
  std::array<char, pieceBytes> piece;
  for (std::uint64_t at = 0;; at += piece.size()) {
    const std::optional<std::size_t> count = readAt(file, at, piece);
    if (!count || !bytes.starts_with(std::string_view(piece.data(), *count))) return false;
    bytes.remove_prefix(*count);
    if (*count < piece.size()) return bytes.empty();
  }
}

// A network file system that repeats a request deletes, and then says that there is no such file.
bool isGone(const FileDescriptor& directory, const std::string& name) {
  struct stat status {};
  return ::fstatat(directory.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 &&
         errno == ENOENT;
}

// Keeps the deletion from coming undone in a power cut later on. A failure is nobody's loss: at
// worst the file is there again, and in the archive as well. Raising one, of whatever kind, would
// have the archive's copy discarded after the file is gone.
void tryToSynchronize(const FileDescriptor& directory, const std::filesystem::path& path) noexcept {
  try {
    synchronize(directory, path, Flush::inOrder);
  } catch (...) {
  }
}

}  // namespace

FileDescriptor openDirectoryNoFollow(const std::filesystem::path& directory) {
  FileDescriptor current(::open("/", directoryFlags));
  for (const std::filesystem::path& component : directory.relative_path()) {
    if (!current.isOpen()) break;
    if (component.empty()) continue;  // behind a slash at the end
    current = FileDescriptor(::openat(current.get(), component.c_str(), directoryFlags));
  }
  if (!current.isOpen()) throw LegacyBackgroundItemRemovalError::unsafePath(directory.string());
  return current;
}

void removeCandidateFile(const Candidate& candidate) {
  const std::filesystem::path path = candidate.url;
  const std::filesystem::path parent = path.parent_path();
  const std::string name = path.filename();
  const FileDescriptor directory = openDirectoryNoFollow(parent);
  const FileDescriptor file(::openat(directory.get(), name.c_str(), fileFlags));
  if (!isRegularFileOwnedBy(file, candidate.expectedOwner) || !holdsExactly(file, candidate.data)) {
    throw LegacyBackgroundItemRemovalError::itemChanged(candidate.label);
  }
  // The one window that is left: whoever may write in this folder can put another file under the
  // name between the comparison above and this call, and that file is deleted then. No system
  // call deletes a file by its descriptor or on condition of its content, so the window can only
  // be kept this short. The folder itself cannot be exchanged: it is held open.
  if (::unlinkat(directory.get(), name.c_str(), 0) != 0) {
    const int code = errno;
    const auto error = LegacyBackgroundItemRemovalError::removalFailed(
        candidate.label, std::generic_category().message(code));
    if (isGone(directory, name)) throw CandidateFileGone(error);
    throw error;
  }
  tryToSynchronize(directory, parent);
}

}  // namespace velmora
