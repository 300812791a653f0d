#include "removal/archive_restoration.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/descriptor_io.h"
#include "platform/file_descriptor.h"
#include "platform/files.h"
#include "platform/json.h"
#include "platform/platform_error.h"
#include "platform/uuid.h"
#include "removal/protected_file_operations.h"
#include "runner/helper_command_error.h"

namespace velmora {
namespace {

constexpr const char* launchctl = "/bin/launchctl";
constexpr double loadSeconds = 15;
constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;
constexpr mode_t everyoneReads = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;

// A file in a folder that its user controls, under a name that launchd and the helper pass over;
// that name is gone again with this object.
class HiddenFile {
 public:
  HiddenFile(const FileDescriptor& folder, std::filesystem::path target)
      : folder_(folder),
        target_(std::move(target)),
        name_(".velmora-restore-" + uuidString()),
        file_(::openat(folder.get(), name_.c_str(),
                       O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, ownerOnly)) {
    if (!file_.isOpen()) fail(errno);
  }
  HiddenFile(const HiddenFile&) = delete;
  HiddenFile& operator=(const HiddenFile&) = delete;
  ~HiddenFile() { ::unlinkat(folder_.get(), name_.c_str(), 0); }

  void write(std::string_view bytes, uid_t owner, mode_t mode) const {
    if (!writeAt(file_, 0, bytes)) fail(errno);
    // By the descriptor, because the folder's user could exchange what has the name.
    if (::fchown(file_.get(), owner, static_cast<gid_t>(-1)) != 0) fail(errno);
    if (::fchmod(file_.get(), mode) != 0) fail(errno);
    synchronize(file_, target_, Flush::inOrder);
  }

  // Unlike a move, a link never takes the place of what has the name.
  void linkAs(const std::string& name) const {
    if (::linkat(folder_.get(), name_.c_str(), folder_.get(), name.c_str(), 0) != 0) fail(errno);
    struct stat written {};
    struct stat linked {};
    const bool isSame = ::fstat(file_.get(), &written) == 0 &&
                        ::fstatat(folder_.get(), name.c_str(), &linked, AT_SYMLINK_NOFOLLOW) == 0 &&
                        written.st_dev == linked.st_dev && written.st_ino == linked.st_ino;
    // The folder's user may have exchanged the hidden file before the link, or the result after it.
    if (!isSame) throw PlatformError("restore", target_, "something else was put in its place");
  }

 private:
  [[noreturn]] void fail(int code) const { throw PlatformError("restore", target_, code); }

  const FileDescriptor& folder_;
  const std::filesystem::path target_;
  const std::string name_;
  const FileDescriptor file_;
};

}  // namespace

void restoreArchivedItem(const ArchivedItem& item) {
  // Read again: the list may have been made a while ago.
  const std::string bytes = readArchivedFile(item);
  const FileDescriptor folder = openDirectoryNoFollow(item.location.directory);
  {
    const HiddenFile file(folder, item.metadata.originalPath);
    file.write(bytes, item.location.expectedOwner, everyoneReads);
    file.linkAs(item.name);
  }
  synchronize(folder, item.location.directory, Flush::toDisk);
}

void noteRestoration(const ArchivedItem& item) {
  writeAtomically(restorationNoteOf(item),
                  encodeRecord({{"restoredAt", secondsSinceReferenceDate()}}), ownerOnly,
                  ::geteuid());
  synchronizeDirectory(item.folder, Flush::inOrder);
}

void loadRestoredItem(const ArchivedItem& item, const HelperCommandRunning& runner) {
  const HelperCommandResult result =
      runner.run(launchctl, {"bootstrap", item.location.launchDomain, item.metadata.originalPath},
                 loadSeconds);
  if (!result.succeeded()) throw HelperCommandError::failed(launchctl, result);
}

}  // namespace velmora
