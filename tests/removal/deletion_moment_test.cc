// What holds at the moment of a deletion, whoever may act at it: the power may be cut, and the
// folder may be exchanged. The calls that matter are seen, linked in the place of the C library's.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <set>
#include <utility>

#include "launchd_folder.h"
#include "removal/privileged_legacy_background_item_removal_service.h"
#include "removal/protected_file_operations.h"

namespace {

namespace fs = std::filesystem;

std::function<void()> beforeDeletion;
std::set<ino_t> filesOnDisk;     // with all their bytes
std::set<fs::path> namesOnDisk;  // below folders
std::set<fs::path> hollowNames;  // of files that were moved there before their bytes were on disk

void aboutToDelete() {
  if (const auto act = std::exchange(beforeDeletion, nullptr)) act();
}

ino_t numberOf(const fs::path& path) {
  struct stat status {};
  EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
  return status.st_ino;
}

}  // namespace

extern "C" int fsync(int descriptor) {
  const fs::path path = fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
  if (fs::is_directory(path)) {
    for (const auto& entry : fs::directory_iterator(path)) namesOnDisk.insert(entry.path());
  } else {
    filesOnDisk.insert(numberOf(path));
  }
  return static_cast<int>(::syscall(SYS_fsync, descriptor));
}

extern "C" int rename(const char* from, const char* to) noexcept {
  if (fs::is_regular_file(from) && !filesOnDisk.contains(numberOf(from))) hollowNames.insert(to);
  return static_cast<int>(::syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}

extern "C" int unlink(const char* path) noexcept {
  aboutToDelete();
  return static_cast<int>(::syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}

extern "C" int unlinkat(int folder, const char* name, int flags) noexcept {
  aboutToDelete();
  return static_cast<int>(::syscall(SYS_unlinkat, folder, name, flags));
}

namespace velmora {
namespace {

TEST(DeletionMoment, losesItemWhenThePowerIsCut) {
  const LaunchdFolder folder;
  const fs::path path = folder.writeItem("job");
  filesOnDisk.clear();
  namesOnDisk.clear();
  hollowNames.clear();
  std::size_t files = 0;
  beforeDeletion = [&] {
    EXPECT_TRUE(namesOnDisk.contains(folder.base().parent_path()));
    EXPECT_TRUE(namesOnDisk.contains(folder.base()));
    for (const auto& entry : fs::recursive_directory_iterator(folder.base())) {
      EXPECT_TRUE(namesOnDisk.contains(entry.path())) << entry.path();
      if (!entry.is_regular_file()) continue;
      EXPECT_TRUE(filesOnDisk.contains(numberOf(entry.path()))) << entry.path();
      ++files;
    }
  };
  PrivilegedLegacyBackgroundItemRemovalService{501, std::vector{folder.location()}, folder.base(),
                                               std::make_shared<FakeLaunchctl>()}
      .removeItems({"userAgent|job"});
  EXPECT_EQ(files, 2U);
  EXPECT_EQ(hollowNames, std::set<fs::path>());
  EXPECT_FALSE(fs::exists(path));
}

TEST(DeletionMoment, deletesInFolderThatTookThePlaceOfTheOneLookedAt) {
  const LaunchdFolder folder;
  const fs::path path = folder.writeItem("job");
  const fs::path aside = folder.root / "aside";
  beforeDeletion = [&] {
    fs::create_directory(folder.root / "decoy");
    fs::copy(path, folder.root / "decoy");
    fs::rename(folder.path(), aside);
    fs::create_directory_symlink(folder.root / "decoy", folder.path());
  };
  removeCandidateFile(folder.candidate("job"));
  EXPECT_TRUE(fs::exists(path)) << "in the folder that took the place";
  EXPECT_TRUE(fs::is_empty(aside));
}

}  // namespace
}  // namespace velmora
