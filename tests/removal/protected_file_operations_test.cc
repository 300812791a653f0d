#include "removal/protected_file_operations.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <functional>

#include "launchd_folder.h"
#include "raised.h"
#include "removal/legacy_background_item_removal_error.h"

namespace velmora {
namespace {

using Error = LegacyBackgroundItemRemovalError;
namespace fs = std::filesystem;

std::size_t openDescriptors() {
  return static_cast<std::size_t>(
      std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

class ProtectedFileOperationsTest : public testing::Test {
 protected:
  ProtectedFileOperationsTest()
      : path(folder.writeItem("job")), candidate(folder.candidate("job")) {}

  Error refusal() {
    const std::size_t before = openDescriptors();
    Error error = raised<Error>([this] { removeCandidateFile(candidate); });
    EXPECT_EQ(openDescriptors(), before);
    return error;
  }

  const LaunchdFolder folder;
  const fs::path path;
  Candidate candidate;
};

TEST_F(ProtectedFileOperationsTest, deletesMoreThanTheOneName) {
  const fs::path neighbour = folder.writeItem("neighbour");
  const fs::path link = folder.path() / "second name";
  fs::create_hard_link(path, link);
  const std::size_t before = openDescriptors();
  removeCandidateFile(candidate);
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_FALSE(fs::exists(path));
  EXPECT_EQ(contentOf(link), candidate.data);
  EXPECT_TRUE(fs::exists(neighbour));
}

TEST_F(ProtectedFileOperationsTest, followsSymbolicLinkOnTheWay) {
  const fs::path root = folder.root / "";
  for (const fs::path& level : {root / "Library/LaunchAgents", root / "Library"}) {
    const fs::path real = level.string() + ".real";
    fs::rename(level, real);
    for (const auto& replace : std::initializer_list<std::function<void()>>{
             [&] { fs::create_directory_symlink(real, level); },
             [&] { std::ofstream(level) << "a file"; }, [] {}}) {
      replace();
      const Error error = refusal();
      EXPECT_EQ(error.kind(), Error::Case::unsafePath);
      EXPECT_TRUE(error.errorDescription().starts_with(folder.path().string() + " contains"));
      fs::remove(level);
    }
    fs::rename(real, level);
    EXPECT_TRUE(fs::exists(path));
  }
}

TEST_F(ProtectedFileOperationsTest, deletesFileThatIsNotTheOneThatWasFound) {
  const std::string original = candidate.data;
  std::string otherByte = original;
  otherByte.back() = ' ';
  const fs::path aside = folder.path() / "aside";
  const auto rewritten = [this](const std::string& bytes) {
    return [this, bytes] { folder.write("job.plist", bytes); };
  };
  const std::function<void()> changes[] = {
      rewritten(original + "x"),
      rewritten(otherByte),
      rewritten(original.substr(1)),
      rewritten(""),
      [this] { folder.giveAway(path); },
      [this] { fs::remove(path); },
      [&] {
        fs::rename(path, aside);
        fs::create_symlink(aside, path);
      },
      [&] {
        fs::remove(path);
        ::mkfifo(path.c_str(), 0600);
      },
      [&] {
        fs::remove(path);
        fs::create_directory(path);
      },
  };
  for (const auto& change : changes) {
    change();
    const bool existed = fs::exists(fs::symlink_status(path));
    EXPECT_EQ(refusal().kind(), Error::Case::itemChanged);
    EXPECT_EQ(fs::exists(fs::symlink_status(path)), existed);
    fs::remove(path);
    folder.writeItem("job");
  }
}

TEST_F(ProtectedFileOperationsTest, hidesWhyTheSystemRefusesToDelete) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  int flags = FS_IMMUTABLE_FL;
  if (::ioctl(file.get(), FS_IOC_SETFLAGS, &flags) != 0) {
    GTEST_SKIP() << "this file system has no immutable files";
  }
  const Error error = refusal();
  flags = 0;
  ::ioctl(file.get(), FS_IOC_SETFLAGS, &flags);
  EXPECT_EQ(error.errorDescription(),
            "The background item job could not be removed: Operation not permitted.");
  EXPECT_EQ(contentOf(path), candidate.data);
}

TEST_F(ProtectedFileOperationsTest, cannotOpenTheRootOrComparesEmptyFileWrongly) {
  EXPECT_TRUE(openDirectoryNoFollow("/").isOpen());
  candidate.data = "";
  EXPECT_EQ(refusal().kind(), Error::Case::itemChanged);
  folder.write("job.plist", "");
  removeCandidateFile(candidate);
  EXPECT_FALSE(fs::exists(path));
}

}  // namespace
}  // namespace velmora
