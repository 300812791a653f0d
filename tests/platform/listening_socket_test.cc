#include "platform/linux/xpc/listening_socket.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/platform_error.h"
#include "temporary_folder.h"

namespace velmora {
namespace {

mode_t modeOf(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 ? status.st_mode : 0;
}

// A stale one is replaced: end_to_end_admission.
TEST(ListeningSocket, destroysWhatIsNoSocketOrTakesLiveOne) {
  const TemporaryFolder folder;
  const std::string live = folder / "live";
  const FileDescriptor held = openListeningSocket(live);
  std::filesystem::create_symlink(live, folder / "link");
  std::filesystem::create_directory(folder / "directory");
  const std::string places[] = {folder.write("file", "precious"), folder / "directory",
                                folder / "link", live};
  for (const std::string& path : places) {
    const mode_t before = modeOf(path);
    EXPECT_THROW((void)openListeningSocket(path), PlatformError) << path;
    EXPECT_EQ(modeOf(path), before) << path;
  }
}

}  // namespace
}  // namespace velmora
