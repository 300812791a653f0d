#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <memory>

#include "platform/files.h"
#include "platform/platform_error.h"
#include "platform/posix/differences/hidden_flag.h"

namespace velmora {
namespace {

struct StreamCloser {
  void operator()(DIR* stream) const { ::closedir(stream); }
};
using DirectoryStream = std::unique_ptr<DIR, StreamCloser>;

[[noreturn]] void fail(int code) {
  throw PlatformError("list", "a folder", code);
}

// A stream of its own place in the folder; the caller's descriptor keeps its own.
DirectoryStream openStream(const FileDescriptor& directory) {
  FileDescriptor own(::openat(directory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!own.isOpen()) fail(errno);
  DirectoryStream stream(::fdopendir(own.get()));
  if (!stream) fail(errno);
  (void)own.release();  // the stream closes it from now on
  return stream;
}

}  // namespace

void visitVisibleEntries(const FileDescriptor& directory,
                         const std::function<void(std::string_view name)>& visit) {
  const DirectoryStream stream = openStream(directory);
  for (;;) {
    errno = 0;
    // The stream is this thread's alone.  NOLINTNEXTLINE(concurrency-mt-unsafe)
    const dirent* entry = ::readdir(stream.get());
    // Half a listing could make one of two files look like the only one.
    if (entry == nullptr && errno != 0) fail(errno);
    if (entry == nullptr) return;
    if (entry->d_name[0] == '.' || isMarkedHidden(directory, entry->d_name)) continue;
    visit(entry->d_name);
  }
}

}  // namespace velmora
