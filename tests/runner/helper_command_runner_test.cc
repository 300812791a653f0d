// The runner with real children. Each test also sees to it that its runs leave nothing behind:
// no descriptor, no thread, no zombie, no file.
#include "runner/helper_command_runner.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <future>
#include <limits>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include "platform/file_descriptor.h"
#include "platform/platform_error.h"
#include "platform/process_info.h"
#include "raised.h"
#include "runner/helper_command_error.h"
#include "temporary_folder.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): only glibc has it

namespace velmora {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double amplySeconds = 30;
constexpr std::size_t maximumDiagnosticBytes = 16384;

std::set<std::string> namesIn(const char* folder, const std::string& prefix = "") {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    if (name.starts_with(prefix)) names.insert(name);
  }
  return names;
}

bool eventually(const std::function<bool()>& condition) {
  const double end = systemUptime() + 30;
  while (!condition()) {
    if (systemUptime() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

HelperCommandResult run(const std::vector<std::string>& arguments,
                        double timeoutSeconds = amplySeconds) {
  return HelperCommandRunner().run(VELMORA_TEST_CHILD, arguments, timeoutSeconds);
}

// What the child says it started with.
std::map<std::string, std::string> stateOfChild() {
  std::map<std::string, std::string> state;
  std::istringstream lines(run({"state"}).diagnostic);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t equals = line.find('=');
    state[line.substr(0, equals)] = line.substr(equals + 1);
  }
  return state;
}

class HelperCommandRunnerTest : public testing::Test {
 protected:
  // With a process's first thread, the thread sanitizer starts one of its own that stays.
  static void SetUpTestSuite() {
    std::thread([] {}).join();
  }

  void TearDown() override {
    EXPECT_TRUE(eventually([this] { return namesIn("/proc/self/task").size() <= threads_; }));
    EXPECT_EQ(namesIn("/proc/self/fd"), descriptors_);
    // Other helpers on this machine have diagnostic files, too, but only for a while.
    EXPECT_TRUE(eventually([left = diagnosticsSince(), this] {
      const std::set<std::string> now = diagnosticsSince();
      return std::ranges::none_of(left, [&now](const auto& name) { return now.contains(name); });
    }));
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
  }

  const TemporaryFolder folder_;

 private:
  std::set<std::string> diagnosticsSince() const {
    std::set<std::string> names = namesIn("/tmp", "driftwhale-helper-");
    for (const std::string& name : diagnostics_) names.erase(name);
    return names;
  }

  const std::set<std::string> descriptors_ = namesIn("/proc/self/fd");
  const std::size_t threads_ = namesIn("/proc/self/task").size();
  const std::set<std::string> diagnostics_ = namesIn("/tmp", "driftwhale-helper-");
};

TEST_F(HelperCommandRunnerTest, changesStatusOrTextOfToolThatExits) {
  const std::string full(maximumDiagnosticBytes, 'a');
  const struct {
    int status;
    std::string bytes;
    std::string diagnostic;
  } cases[] = {
      {0, "", ""},
      {3, "  error text\n\n", "error text"},
      {255, full, full},
      {1, full + "b", full},
      {1, full + "\xFF", full},
      {1, std::string(maximumDiagnosticBytes, ' ') + "past the limit", ""},
      {1, full.substr(2) + "\u00E9", full.substr(2) + "\u00E9"},
      {1, full.substr(1) + "\u00E9", ""},  // the limit cuts the last character
      {1, "broken \xC3(", ""},
      {1, std::string("a\0b", 3), std::string("a\0b", 3)},
      {1, "\u00A0\u2028\u3000\u0085in \u00A0side\u3000\u2029\r\n", "in \u00A0side"},
  };
  for (const auto& [status, bytes, diagnostic] : cases) {
    const auto result = run({"exit", std::to_string(status), folder_.write("bytes", bytes)});
    EXPECT_EQ(result.status, status) << bytes;
    EXPECT_TRUE(result.exitedNormally) << bytes;
    EXPECT_EQ(result.diagnostic, diagnostic) << bytes;
    EXPECT_EQ(result.succeeded(), status == 0) << bytes;
  }
}

TEST_F(HelperCommandRunnerTest, takesToolKilledBySignalForOneThatExited) {
  for (const int number : {SIGKILL, SIGTERM, SIGUSR1}) {
    const auto result = run({"signal", std::to_string(number)});
    EXPECT_EQ(result.status, number);
    EXPECT_FALSE(result.exitedNormally);
    EXPECT_FALSE(result.succeeded());
  }
}

TEST_F(HelperCommandRunnerTest, changesArgumentsEnvironmentOrFolder) {
  EXPECT_EQ(run({"words", "", " ", "two  words", "new\nline", "$HOME", "*", "\"'\\", "-", "\u00FC"})
                .diagnostic,
            "0:\n1: \n10:two  words\n8:new\nline\n5:$HOME\n1:*\n3:\"'\\\n1:-\n2:\u00FC");
  std::string environment;
  for (char** word = environ; *word != nullptr; ++word) {
    const std::string_view text(*word);
    environment += std::to_string(text.size()) + ":" + std::string(text) + "\n";
  }
  EXPECT_EQ(run({"environment"}).diagnostic + "\n", environment);
  EXPECT_EQ(run({"folder"}).diagnostic, std::filesystem::current_path());
}

TEST_F(HelperCommandRunnerTest, handsItsDescriptorsOrSignalSettingsToTool) {
  // Without close-on-exec, as whoever started the helper may have left them.
  const FileDescriptor low(::open("/dev/zero", O_RDONLY));  // NOLINT(android-cloexec-open)
  const FileDescriptor high(::fcntl(low.get(), F_DUPFD, 700));
  sigset_t everything;
  sigset_t before;
  ::sigfillset(&everything);
  ::pthread_sigmask(SIG_SETMASK, &everything, &before);
  const std::array ignored = {SIGTERM, SIGPIPE, SIGHUP, SIGINT, SIGRTMAX, SIGCHLD};
  for (const int number : ignored) ::signal(number, SIG_IGN);

  auto state = stateOfChild();
  const int statusWithoutChildSignal = run({"exit", "3", "/dev/null"}).status;
  for (const int number : ignored) ::signal(number, SIG_DFL);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  EXPECT_EQ(state["descriptors"], "0 1 2 ");
  EXPECT_EQ(state["SigBlk"], "0000000000000000");
  // The two signals that the C library keeps for itself cannot be reset from outside it.
  const std::uint64_t ownedByLibrary = (1ULL << (32 - 1)) | (1ULL << (33 - 1));
  EXPECT_EQ(std::stoull(state["SigIgn"], nullptr, 16) & ~ownedByLibrary, 0U);
  EXPECT_EQ(statusWithoutChildSignal, 3);
}

TEST_F(HelperCommandRunnerTest, mixesUpStandardDescriptorsWhenItsOwnAreClosed) {
  for (unsigned closed = 0; closed < 8; ++closed) {
    std::array<FileDescriptor, 3> saved;
    for (int number = 0; number < 3; ++number) {
      if ((closed >> number & 1U) == 0) continue;
      saved.at(static_cast<std::size_t>(number)).reset(::fcntl(number, F_DUPFD_CLOEXEC, 100));
      ::close(number);
    }
    auto state = stateOfChild();
    for (int number = 0; number < 3; ++number) {
      const FileDescriptor& original = saved.at(static_cast<std::size_t>(number));
      if (original.isOpen()) ::dup2(original.get(), number);
    }
    EXPECT_EQ(state["descriptors"], "0 1 2 ") << closed;
    EXPECT_EQ(state["0"], "/dev/null") << closed;
    EXPECT_EQ(state["1"], "/dev/null") << closed;
    EXPECT_TRUE(state["2"].starts_with("/tmp/driftwhale-helper-")) << closed;
  }
}

TEST_F(HelperCommandRunnerTest, letsOthersReadOrFindDiagnosticFile) {
  const std::regex name("/tmp/driftwhale-helper-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}.stderr");
  for (const mode_t mask : {mode_t{0777}, mode_t{0}}) {
    const mode_t before = ::umask(mask);
    auto state = stateOfChild();
    ::umask(before);
    EXPECT_EQ(state["mode"], std::to_string(0600)) << mask;
    EXPECT_TRUE(std::regex_match(state["2"], name)) << state["2"];
    EXPECT_FALSE(std::filesystem::exists(state["2"])) << mask;
  }
}

// The seconds a run takes that must end with timedOut.
double secondsUntilTimedOut(const std::string& mode, double timeoutSeconds) {
  const double start = systemUptime();
  const auto error = raised<HelperCommandError>([&] { (void)run({mode}, timeoutSeconds); });
  EXPECT_EQ(error.errorDescription(),
            "test_child did not finish in time, so the maintenance helper stopped it.");
  return systemUptime() - start;
}

TEST_F(HelperCommandRunnerTest, waitsLongerThanAllowedForToolThatDoesNotEnd) {
  constexpr double limit = 1;
  constexpr double grace = 2;
  const struct {
    const char* mode;
    bool outlivesTerminate;
  } cases[] = {{"ignore-terminate", true},
               {"stop", true},
               {"exit-on-terminate", false},
               {"flood", false},
               {"wait", false}};
  std::vector<std::future<double>> runs;
  for (const auto& each : cases) {
    runs.push_back(std::async(std::launch::async, secondsUntilTimedOut, each.mode, limit));
  }
  for (std::size_t i = 0; i < runs.size(); ++i) {
    const double seconds = runs[i].get();
    const double earliest = limit + (cases[i].outlivesTerminate ? grace : 0);
    EXPECT_GE(seconds, earliest) << cases[i].mode;
    EXPECT_LT(seconds, earliest + grace) << cases[i].mode;
  }
}

TEST_F(HelperCommandRunnerTest, mistakesStrangeTimeLimits) {
  for (const double limit : {0.0, -0.0, -1.0, -1e300, -infinity, std::nan("")}) {
    EXPECT_LT(secondsUntilTimedOut("wait", limit), 2) << limit;
    // The tool is started all the same.
    EXPECT_THROW((void)HelperCommandRunner().run(folder_ / "missing", {}, limit), PlatformError);
  }
  for (const double limit : {1e9, 1e19, 1e300, infinity}) {
    EXPECT_EQ(run({"exit", "4", "/dev/null"}, limit).status, 4) << limit;
  }
}

TEST_F(HelperCommandRunnerTest, hidesWhyToolCannotBeStarted) {
  ASSERT_EQ(::mkfifo((folder_ / "pipe").c_str(), 0777), 0);
  const std::pair<std::string, int> cases[] = {
      {folder_ / "missing", ENOENT},
      {folder_ / "", EACCES},
      {folder_ / "pipe", EACCES},
      {folder_.write("unmarked", "#!/bin/sh\n", 0666), EACCES},
      {folder_.write("script", "#!/no/such/interpreter\n", 0777), ENOENT},
      {folder_.write("text", "exit 0\n", 0777), ENOEXEC},
      {folder_.write("file", "", 0777) + "/below", ENOTDIR},
      {"", ENOENT},
  };
  for (const auto& [path, code] : cases) {
    const auto error = raised<PlatformError>(
        [&path = path] { (void)HelperCommandRunner().run(path, {}, amplySeconds); });
    EXPECT_EQ(error.code(), code) << path;
    EXPECT_TRUE(error.errorDescription().find(path) != std::string::npos) << path;
  }
}

// Lets the process have `spare` more descriptors while it lives.
class DescriptorShortage {
 public:
  explicit DescriptorShortage(rlim_t spare) {
    ::getrlimit(RLIMIT_NOFILE, &before_);
    const FileDescriptor next(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    const rlimit tight{static_cast<rlim_t>(next.get()) + spare, before_.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &tight);
  }
  DescriptorShortage(const DescriptorShortage&) = delete;
  DescriptorShortage& operator=(const DescriptorShortage&) = delete;
  ~DescriptorShortage() { ::setrlimit(RLIMIT_NOFILE, &before_); }

 private:
  rlimit before_{};
};

TEST_F(HelperCommandRunnerTest, startsToolOrLeaksWhenDescriptorsRunOut) {
  const std::string trace = folder_ / "trace";
  const auto runWith = [&trace](rlim_t spare) {
    const DescriptorShortage shortage(spare);
    return run({"create", trace});
  };
  EXPECT_EQ(raised<HelperCommandError>([&] { (void)runWith(0); }).kind(),
            HelperCommandError::Case::diagnosticUnavailable);
  for (rlim_t spare = 1; spare < 5; ++spare) {
    EXPECT_EQ(raised<PlatformError>([&] { (void)runWith(spare); }).code(), EMFILE) << spare;
  }
  EXPECT_FALSE(std::filesystem::exists(trace));
  EXPECT_TRUE(runWith(5).succeeded());
  EXPECT_TRUE(std::filesystem::exists(trace));
}

TEST_F(HelperCommandRunnerTest, waitsForGrandchildThatHoldsStandardError) {
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);
  const auto result = run({"grandchild"});
  ::prctl(PR_SET_CHILD_SUBREAPER, 0);
  EXPECT_TRUE(result.succeeded());
  const pid_t grandchild = std::stoi(result.diagnostic);
  EXPECT_EQ(::kill(grandchild, SIGKILL), 0);
  EXPECT_EQ(::waitpid(grandchild, nullptr, 0), grandchild);
}

// How many of many runs at the same time are not as `isRight`, called with a number for each, finds
// them.
int wrongRuns(const std::function<bool(int)>& isRight) {
  std::array<std::future<int>, 8> threads;
  for (int thread = 0; auto& each : threads) {
    each = std::async(std::launch::async, [&isRight, number = 100 * thread++] {
      int wrong = 0;
      for (int i = 0; i < 20; ++i) wrong += isRight(number + i) ? 0 : 1;
      return wrong;
    });
  }
  int wrong = 0;
  for (auto& each : threads) wrong += each.get();
  return wrong;
}

TEST_F(HelperCommandRunnerTest, mixesUpRunsAtTheSameTime) {
  EXPECT_EQ(wrongRuns([](int number) {
              const std::string text = std::to_string(1000 + number);
              const auto result = run({"words", text});
              return result.succeeded() && result.diagnostic == "4:" + text;
            }),
            0);
}

TEST_F(HelperCommandRunnerTest, losesTrackOfToolThatEndsWhileItIsSignalled) {
  EXPECT_EQ(wrongRuns([](int number) {
              const std::string life = std::to_string(number % 20 * 500);  // around the limit
              try {
                return run({"exit-after", life}, 0.005).status == 3;
              } catch (const HelperCommandError& error) {
                return error.kind() == HelperCommandError::Case::timedOut;
              }
            }),
            0);
}

}  // namespace
}  // namespace velmora
