// One request, from its entries to what is on disk: the driver, the transaction and its undoing.
#include <gtest/gtest.h>

#include <algorithm>

#include "launchd_folder.h"
#include "platform/cancellation_error.h"
#include "platform/platform_error.h"
#include "platform/process_info.h"
#include "raised.h"
#include "removal/background_item_archive.h"
#include "removal/legacy_background_item_removal_error.h"
#include "removal/privileged_legacy_background_item_removal_service.h"
#include "runner/helper_command_error.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;
using Error = LegacyBackgroundItemRemovalError;
using Verbs = std::vector<std::string>;

class RemovalTransactionTest : public testing::Test {
 protected:
  RemovalTransactionTest() {
    for (const char* label : {"one", "two", "three"}) folder.writeItem(label);
  }

  std::vector<std::string> remove(const std::vector<std::string>& labels,
                                  const std::stop_token& cancellation = {}) const {
    std::vector<std::string> entries;
    entries.reserve(labels.size());
    for (const std::string& label : labels) entries.push_back("userAgent|" + label);
    return service().removeItems(entries, cancellation);
  }

  PrivilegedLegacyBackgroundItemRemovalService service() const {
    return {501, std::vector{folder.location()}, folder.base(), launchctl};
  }

  // The labels of all archived files, each once for its bytes and once for its record.
  std::vector<std::string> archived() const {
    std::vector<std::string> labels;
    if (!fs::exists(folder.base())) return labels;
    for (const auto& entry : fs::recursive_directory_iterator(folder.base())) {
      if (!entry.is_regular_file()) continue;
      const std::string content = contentOf(entry.path());
      for (const char* label : {"one", "two", "three"}) {
        if (content == propertyList(label) ||
            content.find("|" + std::string(label) + "\"") != std::string::npos) {
          labels.emplace_back(label);
        }
      }
    }
    std::ranges::sort(labels);
    return labels;
  }

  bool isInPlace(const std::string& label) const {
    return contentOf(folder.path() / (label + ".plist")) == propertyList(label);
  }

  // The job is loaded, and `verb` ends like this.
  void endWith(const std::string& verb, const HelperCommandResult& result) const {
    launchctl->answer = [verb, result](const std::string& called) {
      return called == verb ? result : HelperCommandResult{0, true, ""};
    };
  }

  const LaunchdFolder folder;
  const std::shared_ptr<FakeLaunchctl> launchctl = std::make_shared<FakeLaunchctl>();
};

TEST_F(RemovalTransactionTest, removesOtherThanAskedForOrTellsLaunchctlSomethingElse) {
  EXPECT_EQ(remove({"two", "one", "two"}), (Verbs{"userAgent|two", "userAgent|one"}));
  EXPECT_EQ(archived(), (Verbs{"one", "one", "two", "two"}));
  EXPECT_FALSE(fs::exists(folder.path() / "one.plist"));
  EXPECT_TRUE(isInPlace("three"));
  ASSERT_EQ(launchctl->calls.size(), 4U);
  EXPECT_EQ(launchctl->calls[0].words, (Verbs{"/bin/launchctl", "print", "gui/501/two"}));
  EXPECT_EQ(launchctl->calls[1].words, (Verbs{"/bin/launchctl", "bootout", "gui/501/two"}));
  for (const auto& call : launchctl->calls) {
    EXPECT_GT(call.timeoutSeconds, 18) << "counted from the start of the request";
    EXPECT_LE(call.timeoutSeconds, 22);
  }
}

TEST_F(RemovalTransactionTest, touchesAnythingWhenOneItemIsMissingOrAmbiguous) {
  folder.write("copy.plist", propertyList("two"));
  const std::pair<Verbs, Error::Case> cases[] = {{{"one", "two"}, Error::Case::ambiguousItem},
                                                 {{"one", "missing"}, Error::Case::itemNotFound},
                                                 {{}, Error::Case::invalidRequest}};
  for (const auto& [labels, kind] : cases) {
    EXPECT_EQ(raised<Error>([&, &labels = labels] { remove(labels); }).kind(), kind);
  }
  EXPECT_TRUE(launchctl->calls.empty());
  EXPECT_FALSE(fs::exists(folder.base()));
  EXPECT_TRUE(isInPlace("one"));
}

TEST_F(RemovalTransactionTest, stopsOrLoadsJobThatIsNotLoaded) {
  for (const HelperCommandResult& probe :
       {HelperCommandResult{113, true, "not found"}, HelperCommandResult{9, false, ""},
        HelperCommandResult{0, false, ""}}) {
    launchctl->calls.clear();
    launchctl->answer = [&](const std::string&) {
      folder.write("one.plist", "changed");
      return probe;
    };
    folder.writeItem("one");
    EXPECT_EQ(raised<Error>([this] { remove({"one"}); }).kind(), Error::Case::itemChanged);
    EXPECT_EQ(launchctl->verbs(), Verbs{"print"});
  }
  endWith("print", {113, true, ""});
  EXPECT_EQ(remove({"two"}), Verbs{"userAgent|two"});
}

TEST_F(RemovalTransactionTest, archivesOrUndoesWhenTheStopItselfFails) {
  endWith("bootout", {5, true, "words"});
  EXPECT_EQ(raised<HelperCommandError>([this] { remove({"one"}); }).errorDescription(),
            "launchctl exited with status 5: words");
  EXPECT_EQ(launchctl->verbs(), (Verbs{"print", "bootout"}));
  EXPECT_TRUE(archived().empty());
  EXPECT_TRUE(isInPlace("one"));
}

TEST_F(RemovalTransactionTest, leavesJobStoppedOrCopyKeptWhenTheFileStays) {
  for (const bool undoFails : {false, true}) {
    launchctl->calls.clear();
    folder.writeItem("one");
    launchctl->answer = [&](const std::string& verb) -> HelperCommandResult {
      if (verb == "bootout") folder.write("one.plist", "changed");
      if (verb == "bootstrap" && undoFails) throw HelperCommandError::timedOut("launchctl");
      return {verb == "bootstrap" ? 1 : 0, true, ""};
    };
    EXPECT_EQ(raised<Error>([this] { remove({"one", "two"}); }).kind(), Error::Case::itemChanged);
    EXPECT_EQ(launchctl->verbs(), (Verbs{"print", "bootout", "bootstrap"}));
    const auto& undo = launchctl->calls.back();
    EXPECT_EQ(undo.words, (Verbs{"/bin/launchctl", "bootstrap", "gui/501",
                                 (folder.path() / "one.plist").string()}));
    EXPECT_EQ(undo.timeoutSeconds, 3.0);
    EXPECT_TRUE(archived().empty());
    EXPECT_EQ(contentOf(folder.path() / "one.plist"), "changed");
    EXPECT_TRUE(isInPlace("two"));
  }
}

TEST_F(RemovalTransactionTest, leavesJobStoppedWhenArchiveCannotBeWritten) {
  launchctl->answer = [this](const std::string& verb) -> HelperCommandResult {
    if (verb == "bootout") fs::remove_all(folder.base());
    return {0, true, ""};
  };
  EXPECT_EQ(raised<PlatformError>([this] { remove({"one"}); }).code(), ENOENT);
  EXPECT_EQ(launchctl->verbs(), (Verbs{"print", "bootout", "bootstrap"}));
  EXPECT_TRUE(isInPlace("one"));
}

TEST_F(RemovalTransactionTest, losesEarlierItemsOrTouchesLaterOnesAfterFailure) {
  int bootouts = 0;
  launchctl->answer = [&](const std::string& verb) -> HelperCommandResult {
    if (verb == "bootout" && ++bootouts == 2) folder.write("two.plist", "changed");
    return {0, true, ""};
  };
  EXPECT_EQ(raised<Error>([this] {
              remove({"one", "two", "three"});
            }).errorDescription(),
            Error::itemChanged("two").errorDescription());
  EXPECT_EQ(archived(), (Verbs{"one", "one"}));
  EXPECT_FALSE(fs::exists(folder.path() / "one.plist"));
  EXPECT_TRUE(isInPlace("three"));
}

TEST_F(RemovalTransactionTest, startsCommandAfterTheDeadlineOrItemAfterCancellation) {
  const fs::path request = prepareArchiveDirectory(folder.base());
  const auto late = [&] {
    service().removeCandidate(folder.candidate("one"), request, systemUptime() - 1);
  };
  EXPECT_EQ(raised<HelperCommandError>(late).kind(), HelperCommandError::Case::timedOut);
  EXPECT_TRUE(launchctl->calls.empty());
  EXPECT_TRUE(isInPlace("one"));

  std::stop_source cancelling;
  launchctl->answer = [&](const std::string&) {
    cancelling.request_stop();
    return HelperCommandResult{0, true, ""};
  };
  EXPECT_THROW(remove({"one", "two"}, cancelling.get_token()), CancellationError);
  EXPECT_EQ(archived(), (Verbs{"one", "one"}));
  EXPECT_TRUE(isInPlace("two"));
}

}  // namespace
}  // namespace velmora
