// What can happen at the very moment of the deletion or of a listing, whose calls are linked in the
// place of the C library's. What else can happen to the file or to the way to it is done to the
// running helper: end_to_end_removal.
#include "removal/protected_file_operations.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <iterator>
#include <string>
#include <utility>

#include "removal/candidate_discovery.h"
#include "removal/removal_transaction.h"
#include "runner/helper_command_error.h"
#include "temporary_folder.h"

namespace {

// Acts before the next deletion, and says how that ends.
enum class Deletion { succeeds, failsUndone, failsDone, failsUnseen };
std::function<Deletion()> beforeDeletion;

bool looksFail = false;
int entriesBeforeFailure = -1;  // of a listing

}  // namespace

extern "C" int unlinkat(int folder, const char* name, int flags) noexcept {
  const auto act = std::exchange(beforeDeletion, nullptr);
  const Deletion deletion = act ? act() : Deletion::succeeds;
  const bool isDone = deletion == Deletion::succeeds || deletion == Deletion::failsDone;
  looksFail = deletion == Deletion::failsUnseen;
  const auto result = static_cast<int>(isDone ? ::syscall(SYS_unlinkat, folder, name, flags) : -1);
  if (deletion == Deletion::succeeds) return result;
  errno = ENOENT;
  return -1;
}

extern "C" int unlink(const char* path) noexcept {
  return ::unlinkat(AT_FDCWD, path, 0);
}

extern "C" int fstatat(int folder, const char* name, struct stat* status, int flags) noexcept {
  if (!looksFail) return static_cast<int>(::syscall(SYS_newfstatat, folder, name, status, flags));
  errno = EIO;
  return -1;
}

extern "C" dirent* readdir(DIR* folder) {
  if (entriesBeforeFailure-- != 0) return reinterpret_cast<dirent*>(::readdir64(folder));
  errno = EIO;
  return nullptr;
}

namespace velmora {
namespace {

// A folder with one item in it.
class ProtectedFileOperations : public testing::Test {
 protected:
  void makeItem() const {
    std::filesystem::create_directory(root / "folder");
    (void)root.write("folder/job.plist", "bytes");
  }

  const TemporaryFolder root;
  const Candidate candidate{.url = root / "folder/job.plist",
                            .label = "job",
                            .kind = LocationKind::userAgent,
                            .launchDomain = "gui/501",
                            .expectedOwner = ::geteuid(),
                            .data = "bytes"};
};

TEST_F(ProtectedFileOperations, deletesInFolderThatTookThePlaceOfTheOneLookedAt) {
  makeItem();
  beforeDeletion = [&] {
    std::filesystem::rename(root / "folder", root / "aside");
    makeItem();
    return Deletion::succeeds;
  };
  removeCandidateFile(candidate);
  EXPECT_TRUE(std::filesystem::exists(candidate.url)) << "in the folder that took the place";
  EXPECT_FALSE(std::filesystem::exists(root / "aside/job.plist"));
  EXPECT_TRUE(openDirectoryNoFollow(root / "aside/").isOpen());
}

constexpr double budgetSeconds = 60;

// launchctl, for which every job is loaded, unless it cannot be asked.
class Launchctl final : public HelperCommandRunning {
 public:
  Launchctl(std::string& verbs, bool raises) : verbs_(verbs), raises_(raises) {}
  HelperCommandResult run(const std::string& /*executablePath*/,
                          const std::vector<std::string>& arguments,
                          double timeoutSeconds) const override {
    EXPECT_LE(timeoutSeconds, budgetSeconds);
    verbs_ += arguments.at(0) + " ";
    if (raises_) throw HelperCommandError::diagnosticUnavailable();
    return {0, true, ""};
  }
  HelperCommandResult runUnheard(const std::string& executablePath,
                                 const std::vector<std::string>& arguments,
                                 double timeoutSeconds) const override {
    EXPECT_EQ(timeoutSeconds, 3);
    return run(executablePath, arguments, timeoutSeconds);
  }

 private:
  std::string& verbs_;
  const bool raises_;
};

TEST_F(ProtectedFileOperations, throwsAwayTheOnlyCopyOfFileWhoseDeletionReportsAnError) {
  for (const Deletion deletion :
       {Deletion::failsUndone, Deletion::failsUnseen, Deletion::failsDone}) {
    const bool isGone = deletion == Deletion::failsDone;
    makeItem();
    const std::string archive = root / ("archive" + std::to_string(static_cast<int>(deletion)));
    std::filesystem::create_directory(archive);
    beforeDeletion = [=] { return deletion; };
    std::string verbs;
    try {
      removeCandidate(candidate, archive, Deadline::after(budgetSeconds), 501,
                      Launchctl(verbs, false));
      ADD_FAILURE() << "no error";
    } catch (const LegacyBackgroundItemRemovalError& error) {
      EXPECT_EQ(error.errorDescription(),
                "The background item job could not be removed: No such file or directory.");
    }
    EXPECT_EQ(verbs, isGone ? "print bootout " : "print bootout bootstrap ");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(archive), {}), isGone ? 2 : 0);
  }
}

TEST_F(ProtectedFileOperations, takesItemForTheOnlyOneFromHalfAListing) {
  makeItem();
  for (const char* name : {"folder/1.plist", "folder/2.plist"}) root.write(name, "{Label=job;}");
  const Location location{root / "folder", LocationKind::userAgent, ::geteuid(), "gui/501"};
  constexpr int calls = 6;  // for five names, two of them the folder's own and its parent's
  for (int number = 0; number <= calls; ++number) {
    entriesBeforeFailure = number;
    const auto found = discoverCandidates({location}, {"userAgent|job"}, Deadline::never());
    EXPECT_EQ(found.candidatesByKey.size(), number < calls ? 0 : 1) << number;
    EXPECT_EQ(found.ambiguousKeys.size(), number < calls ? 0 : 1) << number;
  }
  entriesBeforeFailure = -1;
}

TEST_F(ProtectedFileOperations, takesProbeThatCouldNotBeMadeForJobThatIsNotLoaded) {
  makeItem();
  std::string verbs;
  EXPECT_THROW(removeCandidate(candidate, root / "", Deadline::after(budgetSeconds), 501,
                               Launchctl(verbs, true)),
               HelperCommandError);
  EXPECT_EQ(verbs, "print ");
  EXPECT_TRUE(std::filesystem::exists(candidate.url));
}

}  // namespace
}  // namespace velmora
