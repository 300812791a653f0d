// The runner with real children, which are shell scripts. Each test also sees to it that its runs
// leave nothing behind: no descriptor, no thread, no zombie.
#include "runner/helper_command_runner.h"

#include <fcntl.h>
#include <fnmatch.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <limits>
#include <thread>

#include "platform/file_descriptor.h"
#include "platform/platform_error.h"
#include "platform/process_info.h"
#include "raised.h"
#include "runner/helper_command_error.h"
#include "temporary_folder.h"

namespace velmora {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double amplySeconds = 30;
constexpr std::size_t maximumDiagnosticBytes = 16384;

std::ptrdiff_t countOf(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

// Runs a script, in which all that is said goes to standard error.
HelperCommandResult run(const std::string& script, double timeoutSeconds = amplySeconds) {
  return HelperCommandRunner().run("/bin/sh", {"-c", "exec >&2; " + script}, timeoutSeconds);
}

class HelperCommandRun : public testing::Test {
 protected:
  // With a process's first thread, the thread sanitizer starts one of its own that stays.
  static void SetUpTestSuite() {
    std::thread([] {}).join();
  }

  void TearDown() override {
    const double end = systemUptime() + 30;
    while (countOf("/proc/self/task") > threads_) ASSERT_LT(systemUptime(), end);
    EXPECT_EQ(countOf("/proc/self/fd"), descriptors_);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
  }

 private:
  const std::ptrdiff_t descriptors_ = countOf("/proc/self/fd");
  const std::ptrdiff_t threads_ = countOf("/proc/self/task");
};

TEST_F(HelperCommandRun, changesArgumentsStatusOrTextOfTool) {
  const TemporaryFolder folder;
  const std::string full(maximumDiagnosticBytes, 'a');
  const struct {
    int status;
    std::string bytes, diagnostic;
  } cases[] = {
      {0, "", ""},
      {255, full + "b", full},
      {1, std::string(maximumDiagnosticBytes, ' ') + "past the limit", ""},
      {1, full.substr(2) + "\u00E9\xFF", full.substr(2) + "\u00E9"},
      {1, full.substr(1) + "\u00E9", ""},  // the limit cuts the last character
      {1, "broken \xC3(", ""},
      {3, std::string(" \u2028a\0\u00A0b\u3000\r\n", 13), std::string("a\0\u00A0b", 5)},
  };
  for (const auto& [status, bytes, diagnostic] : cases) {
    const auto result =
        run("cat '" + folder.write("bytes", bytes) + "'; exit " + std::to_string(status));
    EXPECT_EQ(result.status, status) << bytes;
    EXPECT_TRUE(result.exitedNormally) << bytes;
    EXPECT_EQ(result.diagnostic, diagnostic) << bytes;
    EXPECT_EQ(result.succeeded(), status == 0) << bytes;
  }
  const std::string script = "printf '[%s]' \"$@\" >&2; kill -USR1 $$";
  const auto result = HelperCommandRunner().run(
      "/bin/sh", {"-c", script, "sh", "", "two  words", "new\nline", "*"}, amplySeconds);
  EXPECT_EQ(result.status, SIGUSR1);
  EXPECT_FALSE(result.exitedNormally || result.succeeded());
  EXPECT_EQ(result.diagnostic, "[][two  words][new\nline][*]");
}

TEST_F(HelperCommandRun, handsItsDescriptorsOrSignalSettingsToTool) {
  // Without close-on-exec, as whoever started the helper may have left them.
  const FileDescriptor low(::open("/dev/zero", O_RDONLY));  // NOLINT(android-cloexec-open)
  const FileDescriptor high(::fcntl(low.get(), F_DUPFD, 700));
  sigset_t everything;
  sigset_t before;
  ::sigfillset(&everything);
  ::pthread_sigmask(SIG_SETMASK, &everything, &before);
  const std::array ignored = {SIGTERM, SIGPIPE, SIGHUP, SIGINT, SIGRTMAX, SIGCHLD};
  for (const int number : ignored) ::signal(number, SIG_IGN);
  const auto descriptors = run("ls /proc/$$/fd; exit 3");
  const auto state = HelperCommandRunner().run(  // a shell would empty its mask
      "/bin/dd", {"if=/proc/self/status", "of=/dev/stderr", "status=none"}, amplySeconds);
  for (const int number : ignored) ::signal(number, SIG_DFL);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  EXPECT_EQ(descriptors.status, 3);
  EXPECT_EQ(descriptors.diagnostic, "0\n1\n2");
  // The two signals that the C library keeps for itself cannot be reset from outside it.
  const char* reset = "*SigBlk:\t0000000000000000\nSigIgn:\t0000000[01][08]0000000\n*";
  EXPECT_EQ(::fnmatch(reset, state.diagnostic.c_str(), 0), 0) << state.diagnostic;
}

TEST_F(HelperCommandRun, mixesUpStandardDescriptorsOrLetsOthersReadDiagnosticFile) {
  for (unsigned closed = 0; closed < 8; ++closed) {
    std::array<FileDescriptor, 3> saved;
    for (int number = 0; number < 3; ++number) {
      if ((closed >> number & 1U) == 0) continue;
      saved.at(static_cast<std::size_t>(number)).reset(::fcntl(number, F_DUPFD_CLOEXEC, 100));
      ::close(number);
    }
    const mode_t before = ::umask(closed == 0 ? 0777 : 0);
    // In a subshell, which alone has its standard output exchanged.
    const std::string state =
        HelperCommandRunner()
            .run("/bin/sh", {"-c", "(cd /proc/$$/fd; stat -L -c %a 2; readlink 0 1 2) >&2; :"},
                 amplySeconds)
            .diagnostic;
    ::umask(before);
    for (int number = 0; number < 3; ++number) {
      const FileDescriptor& original = saved.at(static_cast<std::size_t>(number));
      if (original.isOpen()) ::dup2(original.get(), number);
    }
    const char* expected = "600\n/dev/null\n/dev/null\n/tmp/driftwhale-helper-*-*-*-*-*.stderr";
    EXPECT_EQ(::fnmatch(expected, state.c_str(), FNM_PATHNAME), 0) << closed << '\n' << state;
    EXPECT_FALSE(std::filesystem::exists(state.substr(state.rfind('\n') + 1)));
  }
}

// The seconds a run takes that must end with timedOut.
double secondsUntilTimedOut(const std::string& script, double timeoutSeconds) {
  const double start = systemUptime();
  const auto error = raised<HelperCommandError>([&] { (void)run(script, timeoutSeconds); });
  EXPECT_EQ(error.errorDescription(),
            "sh did not finish in time, so the maintenance helper stopped it.");
  return systemUptime() - start;
}

TEST_F(HelperCommandRun, waitsLongerThanAllowedForToolThatDoesNotEnd) {
  constexpr double grace = 2;
  const std::pair<std::string, double> cases[] = {{"trap '' TERM; kill -STOP $$", grace},
                                                  {"trap 'exit 0' TERM; while :; do :; done", 0},
                                                  {"exec sleep 60", 0}};
  for (const auto& [script, more] : cases) {
    const double seconds = secondsUntilTimedOut(script, 1);
    EXPECT_GE(seconds, 1 + more) << script;
    EXPECT_LT(seconds, 1 + more + grace) << script;
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "the tool outlives its run";
  }
}

TEST_F(HelperCommandRun, mistakesStrangeTimeLimitsOrDeadlines) {
  const HelperCommandRunner runner;
  for (const double limit : {0.0, -1.0, -infinity, std::nan("")}) {
    EXPECT_LT(secondsUntilTimedOut("exec sleep 60", limit), 2) << limit;
    // A run is started in any case, one that comes after its deadline is not.
    for (const char* path : {"/missing", "/tmp", "/etc/passwd"}) {
      EXPECT_THROW((void)runner.run(path, {}, limit), PlatformError) << path;
    }
    EXPECT_THROW((void)runner.runBeforeDeadline("/missing", {}, Deadline::after(limit)),
                 HelperCommandError);
  }
  for (const double limit : {1e19, 1e300, infinity}) {
    EXPECT_EQ(run("exit 4", limit).status, 4) << limit;
    EXPECT_TRUE(runner.runBeforeDeadline("/bin/true", {}, Deadline(limit)).succeeded()) << limit;
  }
}

TEST_F(HelperCommandRun, waitsForGrandchildThatHoldsStandardError) {
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);
  const auto result = run("setsid sleep 60 & echo $!");
  ::prctl(PR_SET_CHILD_SUBREAPER, 0);
  EXPECT_TRUE(result.succeeded());
  const pid_t grandchild = std::stoi(result.diagnostic);
  EXPECT_EQ(::kill(grandchild, SIGKILL), 0);
  EXPECT_EQ(::waitpid(grandchild, nullptr, 0), grandchild);
}

TEST_F(HelperCommandRun, losesTrackOfToolThatEndsWhileItIsSignalled) {
  const double start = systemUptime();
  EXPECT_EQ(run("exit 3").status, 3);
  const double usualSeconds = systemUptime() - start;
  for (int number = 0; number < 100; ++number) {
    try {
      EXPECT_EQ(run("exit 3", usualSeconds * number / 50).status, 3);
    } catch (const HelperCommandError& error) {
      EXPECT_EQ(error.kind(), HelperCommandError::Case::timedOut);
    }
  }
}

}  // namespace
}  // namespace velmora
