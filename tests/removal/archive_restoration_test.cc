// The folder's user may exchange the hidden file at the very moment of the link: that call is seen,
// linked in the place of the C library's. The rest is done with the tool: end_to_end_client_tool.
#include "removal/archive_restoration.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <functional>
#include <utility>

#include "platform/platform_error.h"
#include "raised.h"
#include "temporary_folder.h"

namespace {

std::function<void(const char* name)> beforeLink;

}  // namespace

extern "C" int linkat(int folder, const char* name, int to, const char* as, int flags) noexcept {
  if (const auto act = std::exchange(beforeLink, nullptr)) act(name);
  return static_cast<int>(::syscall(SYS_linkat, folder, name, to, as, flags));
}

namespace velmora {
namespace {

TEST(ArchiveRestoration, saysThatWhatAnotherPutInPlaceWasRestored) {
  const TemporaryFolder root;
  const std::string identifier = "00000000-0000-4000-8000-000000000000";
  const std::string path = root / "job.plist";
  std::filesystem::create_directories(root / "archive/request");
  root.write("archive/request/" + identifier + ".plist", "{Label=job;}");
  root.write("archive/request/" + identifier + ".json",
             encodeArchiveMetadata({"job", "userAgent|job", path, 501, 0}));
  const ArchiveListing listing = listArchive(root / "archive", [&](std::uint32_t) {
    return std::vector{Location{std::filesystem::path(path).parent_path(), LocationKind::userAgent,
                                ::geteuid(), "gui/501"}};
  });
  ASSERT_EQ(listing.items.size(), 1U);
  beforeLink = [&](const char* name) {
    std::filesystem::rename(root.write("foreign", "foreign"), root / name);
  };
  const auto error = raised<PlatformError>([&] { restoreArchivedItem(listing.items[0]); });
  EXPECT_EQ(error.errorDescription(),
            "Could not restore " + path + ": something else was put in its place.");
}

}  // namespace
}  // namespace velmora
