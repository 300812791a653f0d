#include "platform/linux/listening_socket.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>

#include "platform/platform_error.h"
#include "raised.h"
#include "temporary_folder.h"

namespace velmora {
namespace {

bool canConnect(const std::string& path) {
  const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::ranges::copy(path, address.sun_path);
  return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

mode_t modeOf(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 ? status.st_mode : 0;
}

TEST(ListeningSocket, keepsUsersOutByUmaskOrLeaksToTools) {
  const TemporaryFolder folder;
  for (const mode_t mask : {mode_t{0777}, mode_t{0}}) {
    const std::string path = folder / std::to_string(mask);
    const mode_t before = ::umask(mask);
    const FileDescriptor socket = openListeningSocket(path);
    ::umask(before);
    EXPECT_EQ(modeOf(path), mode_t{S_IFSOCK | 0666});
    EXPECT_TRUE(canConnect(path));
    EXPECT_EQ(::fcntl(socket.get(), F_GETFD), FD_CLOEXEC);
  }
}

TEST(ListeningSocket, refusesStaleSocketOrTakesLiveOne) {
  const TemporaryFolder folder;
  const std::string path = folder / "socket";
  openListeningSocket(path).reset();
  EXPECT_FALSE(canConnect(path));
  const FileDescriptor live = openListeningSocket(path);
  const auto error = raised<PlatformError>([&path] { (void)openListeningSocket(path); });
  EXPECT_EQ(error.errorDescription(),
            "Could not open " + path + ": another helper already serves it.");
  EXPECT_TRUE(canConnect(path));
}

TEST(ListeningSocket, destroysWhatIsNoSocket) {
  const TemporaryFolder folder;
  const std::string link = folder / "link";
  openListeningSocket(folder / "stale").reset();
  std::filesystem::create_symlink(folder / "stale", link);
  std::filesystem::create_directory(folder / "directory");
  const std::string places[] = {folder.write("file", "precious"), folder / "directory", link};
  for (const std::string& path : places) {
    const mode_t before = modeOf(path);
    EXPECT_EQ(raised<PlatformError>([&path] { (void)openListeningSocket(path); }).code(), EEXIST);
    EXPECT_EQ(modeOf(path), before) << path;
  }
  EXPECT_TRUE(S_ISSOCK(modeOf(folder / "stale")));
}

}  // namespace
}  // namespace velmora
