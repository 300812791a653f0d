#include "platform/linux/listening_socket.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "platform/platform_error.h"
#include "raised.h"
#include "temporary_folder.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;

TEST(ListeningSocket, destroysWhatIsNoSocketOrLeaksToTools) {
  const TemporaryFolder folder;
  const FileDescriptor socket = openListeningSocket(folder / "socket");
  EXPECT_EQ(::fcntl(socket.get(), F_GETFD), FD_CLOEXEC);
  fs::create_symlink(folder / "socket", folder / "link");
  fs::create_directory(folder / "directory");
  for (const std::string& path :
       {folder.write("file", "precious"), folder / "directory", folder / "link"}) {
    const fs::file_type before = fs::symlink_status(path).type();
    EXPECT_EQ(raised<PlatformError>([&path] { (void)openListeningSocket(path); }).code(), EEXIST);
    EXPECT_EQ(fs::symlink_status(path).type(), before) << path;
  }
  EXPECT_TRUE(fs::is_socket(folder / "socket"));
}

}  // namespace
}  // namespace velmora
