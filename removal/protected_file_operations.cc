#include "removal/protected_file_operations.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>

#include "platform/files.h"
#include "removal/legacy_background_item_removal_error.h"

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
  for (;;) {
    const ssize_t count = ::read(file.get(), piece.data(), piece.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    if (count == 0) return bytes.empty();
    const std::string_view read(piece.data(), static_cast<std::size_t>(count));
    if (!bytes.starts_with(read)) return false;
    bytes.remove_prefix(read.size());
  }
}

// Keeps the deletion from coming undone in a power cut. A failure is nobody's loss: at worst the
// file is there again, and in the archive as well. Raising one, of whatever kind, would have the
// archive's copy discarded after the file is gone.
void tryToSynchronize(const FileDescriptor& directory, const std::filesystem::path& path) noexcept {
  try {
    synchronize(directory, path);
  } catch (...) {
  }
}

}  // namespace

FileDescriptor openDirectoryNoFollow(const std::filesystem::path& directory) {
  FileDescriptor current(::open("/", directoryFlags));
  for (const std::filesystem::path& component : directory.relative_path()) {
    if (!current.isOpen()) break;
    current = FileDescriptor(::openat(current.get(), component.c_str(), directoryFlags));
  }
  if (!current.isOpen()) throw LegacyBackgroundItemRemovalError::unsafePath(directory.string());
  return current;
}

void removeCandidateFile(const Candidate& candidate) {
  const std::filesystem::path parent = candidate.url.parent_path();
  const std::string name = candidate.url.filename();
  const FileDescriptor directory = openDirectoryNoFollow(parent);
  const FileDescriptor file(::openat(directory.get(), name.c_str(), fileFlags));
  if (!file.isOpen() || !isRegularFileOwnedBy(file, candidate.expectedOwner) ||
      !holdsExactly(file, candidate.data)) {
    throw LegacyBackgroundItemRemovalError::itemChanged(candidate.label);
  }
  // The one window that is left: whoever may write in this folder can put another file under the
  // name between the comparison above and this call, and that file is deleted then. No system
  // call deletes a file by its descriptor or on condition of its content, so the window can only
  // be kept this short. The folder itself cannot be exchanged: it is held open.
  if (::unlinkat(directory.get(), name.c_str(), 0) != 0) {
    const int code = errno;
    throw LegacyBackgroundItemRemovalError::removalFailed(candidate.label,
                                                          std::generic_category().message(code));
  }
  tryToSynchronize(directory, parent);
}

}  // namespace velmora
