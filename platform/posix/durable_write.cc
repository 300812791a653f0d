#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>

#include "platform/descriptor_io.h"
#include "platform/files.h"
#include "platform/platform_error.h"
#include "platform/posix/differences/disk_flush.h"

namespace velmora {
namespace {

constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;
constexpr std::size_t blockBytes = 4096;

// How much of `bytes` comes before the first block of nothing but zeros.
std::size_t lengthOfData(std::string_view bytes) {
  constexpr std::array<char, blockBytes> zeros{};
  const std::string_view hole(zeros.data(), zeros.size());
  std::size_t size = 0;
  while (size < bytes.size() && !hole.starts_with(bytes.substr(size, blockBytes)))
    size += blockBytes;
  return std::min(size, bytes.size());
}

// A file that is gone again unless it has been moved into place.
class PartialFile {
 public:
  explicit PartialFile(const std::filesystem::path& path)
      : target_(path),
        path_(path.string() + ".partial"),
        file_(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                     ownerOnly)) {
    if (!file_.isOpen()) fail();
  }
  PartialFile(const PartialFile&) = delete;
  PartialFile& operator=(const PartialFile&) = delete;
  ~PartialFile() {
    if (!inPlace_) ::unlink(path_.c_str());
  }

  // What is zeros in whole blocks is left out, as a hole: a file of holes that a user has made must
  // not take up root's disk.
  void write(std::string_view bytes) {
    // The size first: zeros at the end are never written.
    if (::ftruncate(file_.get(), static_cast<off_t>(bytes.size())) != 0) fail();
    for (std::size_t at = 0; at < bytes.size();) {
      const std::size_t size = lengthOfData(bytes.substr(at));
      if (!writeAt(file_, at, bytes.substr(at, size))) fail();
      at += std::max(size, blockBytes);
    }
  }

  void moveIntoPlace() {
    if (::rename(path_.c_str(), target_.c_str()) != 0) fail();
    inPlace_ = true;
  }

  void setAttributes(mode_t mode, uid_t owner) {
    // The umask has no say in this.
    if (::fchmod(file_.get(), mode) != 0) fail();
    if (::fchown(file_.get(), owner, static_cast<gid_t>(-1)) != 0) fail();
  }

  void synchronize() { velmora::synchronize(file_, target_, Flush::inOrder); }

 private:
  [[noreturn]] void fail() const { throw PlatformError("write", target_, errno); }

  const std::filesystem::path target_;
  const std::filesystem::path path_;
  const FileDescriptor file_;
  bool inPlace_ = false;
};

}  // namespace

void writeAtomically(const std::filesystem::path& path, std::string_view bytes, mode_t mode,
                     uid_t owner) {
  PartialFile file(path);
  file.write(bytes);
  file.setAttributes(mode, owner);
  // Before the move: after a power cut the name must not stand for a file without its bytes.
  file.synchronize();
  file.moveIntoPlace();
}

void synchronize(const FileDescriptor& file, const std::filesystem::path& subject, Flush flush) {
  while (flushOnce(file, flush) != 0) {
    // After any other failure the bytes may be lost, and a second try would not say so.
    if (errno != EINTR) throw PlatformError("synchronize", subject, errno);
  }
}

void synchronizeDirectory(const std::filesystem::path& path, Flush flush) {
  const FileDescriptor directory(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory.isOpen()) throw PlatformError("synchronize", path, errno);
  synchronize(directory, path, flush);
}

}  // namespace velmora
