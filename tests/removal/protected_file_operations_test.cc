// The folder may be exchanged at the very moment of the deletion. The calls that delete are seen,
// linked in the place of the C library's. What else can happen to the file or to the way to it is
// done to the running helper: end_to_end_removal.
#include "removal/protected_file_operations.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <functional>
#include <utility>

#include "temporary_folder.h"

namespace {

std::function<void()> beforeDeletion;

}  // namespace

extern "C" int unlinkat(int folder, const char* name, int flags) noexcept {
  if (const auto act = std::exchange(beforeDeletion, nullptr)) act();
  return static_cast<int>(::syscall(SYS_unlinkat, folder, name, flags));
}

extern "C" int unlink(const char* path) noexcept {
  return ::unlinkat(AT_FDCWD, path, 0);
}

namespace velmora {
namespace {

TEST(ProtectedFileOperations, deletesInFolderThatTookThePlaceOfTheOneLookedAt) {
  const TemporaryFolder root;
  const auto makeItem = [&root] {
    std::filesystem::create_directory(root / "folder");
    return root.write("folder/job.plist", "bytes");
  };
  const Candidate candidate{.url = makeItem(),
                            .label = "job",
                            .kind = LocationKind::userAgent,
                            .launchDomain = "gui/501",
                            .expectedOwner = ::geteuid(),
                            .data = "bytes"};
  beforeDeletion = [&] {
    std::filesystem::rename(root / "folder", root / "aside");
    makeItem();
  };
  removeCandidateFile(candidate);
  EXPECT_TRUE(std::filesystem::exists(candidate.url)) << "in the folder that took the place";
  EXPECT_FALSE(std::filesystem::exists(root / "aside/job.plist"));
}

}  // namespace
}  // namespace velmora
