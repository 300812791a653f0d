// What no client can bring about; all else about a request is shown by end_to_end_removal.
#include "removal/privileged_legacy_background_item_removal_service.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/cancellation_error.h"
#include "platform/process_info.h"
#include "removal/candidate_discovery.h"
#include "runner/helper_command_error.h"
#include "temporary_folder.h"

namespace {

// The clock of these tests, linked in the place of the system's: it stands still until it has been
// looked at so often.
int looks = 0;
int looksBeforeTheEnd = 0;

}  // namespace

double velmora::systemUptime() noexcept {
  return ++looks > looksBeforeTheEnd ? 1e6 : 0;
}

namespace velmora {
namespace {

class RemovalService : public testing::Test {
 protected:
  bool isTouched() const {
    return !std::filesystem::exists(file) || std::filesystem::exists(root / "Archive");
  }

  const TemporaryFolder root;
  const std::string file = root.write("job.plist", "{ Label = job; }");
  const PrivilegedLegacyBackgroundItemRemovalService service{
      501, std::vector{Location{root / "", LocationKind::userAgent, ::geteuid(), "gui/501"}},
      root / "Archive", nullptr};
};

TEST_F(RemovalService, touchesItemAfterCancellation) {
  looks = 0, looksBeforeTheEnd = 1000;
  const std::atomic<bool> isCancelled = true;
  EXPECT_THROW(service.removeItems({"userAgent|job"}, &isCancelled), CancellationError);
  EXPECT_TRUE(std::filesystem::exists(file));
}

TEST_F(RemovalService, takesFileThatGrowsOrShrinksWhileItIsRead) {
  const Location location = service.resolveLocations().front();
  const FileDescriptor folder(::open(location.directory.c_str(), O_RDONLY | O_CLOEXEC));
  for (const char* later : {"{ Label = job; } ", "{ Label = jo; }"}) {
    root.write("job.plist", "{ Label = job; }");
    const CandidateReading reading =
        readCandidate(folder, "job.plist", location, [&] { root.write("job.plist", later); });
    EXPECT_TRUE(std::holds_alternative<RefusedFile>(reading)) << later;
  }
}

TEST_F(RemovalService, searchesOnAfterTheDeadlineOrStartsItsTimeLate) {
  for (int number = 0; number < 100; ++number) root.write(std::to_string(number) + ".plist", "");
  root.write("large.plist", "{ Label = large; } /*" + std::string(8 << 20, ' ') + "*/");
  looks = 0, looksBeforeTheEnd = 1000;
  const auto found = discoverCandidates(service.resolveLocations(), {}, Deadline(1e5));
  EXPECT_TRUE(found.candidatesByKey.empty()) << "kept although nobody has asked for it";
  const int all = looks;
  EXPECT_GT(all, 3 * 100 + 8 + 8)
      << "for each name, each file, and each mebibyte read and examined";
  // The first look begins the time.
  for (looksBeforeTheEnd = 1; looksBeforeTheEnd <= all; ++looksBeforeTheEnd) {
    looks = 0;
    EXPECT_THROW(service.removeItems({"userAgent|job"}), HelperCommandError);
    EXPECT_FALSE(isTouched());
    EXPECT_EQ(looks, looksBeforeTheEnd + 1);
  }
}

}  // namespace
}  // namespace velmora
