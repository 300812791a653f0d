// File management that differs between systems or is wanted in more than one room. Any thread may
// call. What is created or written never goes through a symbolic link in the last component of its
// path; a folder that exists already may be one, and its caller has to look.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string_view>

#include "platform/file_descriptor.h"

namespace velmora {

// The folder for files that live no longer than a call. Never taken from the environment, which
// whoever started the helper could have set. "/tmp" on Linux; on macOS the user's own folder,
// confstr(3), and "/tmp" without one.
std::filesystem::path temporaryDirectory();

// Calls `visit` with the name of each entry of the opened folder, in the system's order, without
// those that are hidden: by a full stop at the beginning, or by a flag where the system has one.
// Raises PlatformError when the folder cannot be listed to its end, and what `visit` raises.
void visitVisibleEntries(const FileDescriptor& directory,
                         const std::function<void(std::string_view name)>& visit);

// Creates the folder `path`, and the folders above it that are missing, for their owner alone
// (0700 whatever the umask). Does nothing to what exists already. The names of the folders have
// been flushed in order when it returns. Raises PlatformError, also when something else has the
// name.
void createDirectories(const std::filesystem::path& path);

// Creates the folder `path` in the same way, which must not exist. Raises PlatformError.
void createDirectory(const std::filesystem::path& path);

// Writes `bytes` to a temporary file beside `path`, gives it `mode` and `owner`, and moves it there
// in one step, replacing what has that name, so that nobody ever sees a part of it there. Zeros
// become holes where the file system has them. The file has been flushed in order before its name,
// which is on disk after synchronizeDirectory on its folder. Raises PlatformError; nothing is left
// then.
void writeAtomically(const std::filesystem::path& path, std::string_view bytes, mode_t mode,
                     uid_t owner);

// What a power cut may undo after a flush; docs/durability.md says which stands where.
enum class Flush {
  inOrder,  // what was flushed and whatever came later, but never the first without the second
  toDisk,   // nothing of what has been flushed so far, to whichever file of the disk
};

// Returns once everything written to the opened file or folder is flushed: fsync(2), or what goes
// further than that where a system has it. Raises PlatformError, naming `subject`.
void synchronize(const FileDescriptor& file, const std::filesystem::path& subject, Flush flush);
void synchronizeDirectory(const std::filesystem::path& path, Flush flush);

}  // namespace velmora
