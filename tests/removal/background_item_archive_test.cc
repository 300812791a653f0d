#include "removal/background_item_archive.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <regex>

#include "launchd_folder.h"
#include "platform/platform_error.h"
#include "raised.h"
#include "removal/archive_metadata.h"
#include "removal/legacy_background_item_removal_error.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;

mode_t modeOf(const fs::path& path) {
  struct stat status {};
  EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

class BackgroundItemArchiveTest : public testing::Test {
 protected:
  const LaunchdFolder folder;
  const fs::path base = folder.base();
};

TEST_F(BackgroundItemArchiveTest, letsOthersInOrChangesExistingFolder) {
  const mode_t before = ::umask(0777);
  const fs::path first = prepareArchiveDirectory(base);
  ::umask(0);
  const fs::path second = prepareArchiveDirectory(base);
  ::umask(before);
  EXPECT_NE(first, second);
  EXPECT_TRUE(std::regex_match(first.filename().string(),
                               std::regex("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}")));
  for (const fs::path& made : {base.parent_path(), base, first, second}) {
    EXPECT_EQ(modeOf(made), 0700U) << made;
  }
  ::chmod(base.c_str(), 0755);
  EXPECT_EQ(modeOf(prepareArchiveDirectory(base)), 0700U);
  EXPECT_EQ(modeOf(base), 0755U);
}

TEST_F(BackgroundItemArchiveTest, takesSomethingElseForItsBase) {
  using Error = LegacyBackgroundItemRemovalError;
  fs::create_directories(folder.root / "elsewhere");
  fs::create_directories(base.parent_path());
  fs::create_directory_symlink(folder.root / "elsewhere", base);
  EXPECT_EQ(raised<Error>([this] { prepareArchiveDirectory(base); }).errorDescription(),
            "Velmora could not create its protected background-item archive.");
  EXPECT_TRUE(fs::is_empty(folder.root / "elsewhere"));
  fs::remove(base);
  std::ofstream(base) << "a file";
  EXPECT_EQ(raised<PlatformError>([this] { prepareArchiveDirectory(base); }).code(), EEXIST);
}

TEST_F(BackgroundItemArchiveTest, keepsOtherThanWhatWasFound) {
  const fs::path path = folder.writeItem("j\u00F6b");
  const Candidate candidate = folder.candidate("j\u00F6b");
  folder.write("j\u00F6b.plist", "changed since");
  const fs::path request = prepareArchiveDirectory(base);
  const double begin = secondsSinceReferenceDate();
  const mode_t before = ::umask(0777);
  const ArchiveEntry entry = writeArchiveEntry(candidate, request, 501);
  ::umask(before);
  const double end = secondsSinceReferenceDate();

  EXPECT_EQ(contentOf(entry.plistURL), candidate.data);
  const std::string json = contentOf(entry.metadataURL);
  EXPECT_EQ(json.find_first_of(" \n"), std::string::npos) << json;
  EXPECT_NE(json.find("\\/LaunchAgents\\/j\u00F6b.plist\""), std::string::npos) << json;
  const ArchiveMetadata metadata = decodeArchiveMetadata(json);
  EXPECT_EQ(metadata.originalPath, path.string());
  EXPECT_LE(begin, metadata.removedAt);
  EXPECT_GE(end, metadata.removedAt);
  EXPECT_GT(begin, 788918400) << "2026 has not begun yet";

  for (const fs::path& file : {entry.plistURL, entry.metadataURL}) {
    EXPECT_EQ(modeOf(file), 0600U);
    EXPECT_TRUE(std::regex_match(file.stem().string(),
                                 std::regex("[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}")));
  }
  EXPECT_EQ(entry.plistURL.stem(), entry.metadataURL.stem());
  EXPECT_EQ(std::distance(fs::directory_iterator(request), {}), 2);
  discardArchiveEntry(entry);
  EXPECT_TRUE(fs::is_empty(request));
  discardArchiveEntry(entry);
}

TEST_F(BackgroundItemArchiveTest, leavesHalfAnEntryWhenTheDiskIsFull) {
  folder.write("job.plist", propertyList("job") + std::string(5000, ' '));
  const Candidate candidate = folder.candidate("job");
  const fs::path request = prepareArchiveDirectory(base);
  ::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  ::getrlimit(RLIMIT_FSIZE, &before);
  for (const rlim_t limit : {0UL, 100UL, 4096UL}) {
    const rlimit small{limit, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    const auto code =
        raised<PlatformError>([&] { writeArchiveEntry(candidate, request, 501); }).code();
    ::setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(code, EFBIG);
    EXPECT_TRUE(fs::is_empty(request));
  }
}

}  // namespace
}  // namespace velmora
