// Signals are counted on their way to the system, linked in the place of the C library's function.
#include "platform/task.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <future>
#include <memory>

#include "platform/file_descriptor.h"

namespace {

std::atomic<int> signals = 0;

}  // namespace

extern "C" int kill(pid_t process, int number) noexcept {
  ++signals;
  return static_cast<int>(::syscall(SYS_kill, process, number));
}

namespace velmora {
namespace {

// Its number may have passed on to another process by then.
TEST(Task, signalsProcessThatHasBeenReaped) {
  const FileDescriptor device(::open("/dev/null", O_RDWR | O_CLOEXEC));
  const auto ended = std::make_shared<std::promise<void>>();
  Task task({.executablePath = "/bin/sleep",
             .arguments = {"100"},
             .standardInput = device.get(),
             .standardOutput = device.get(),
             .standardError = device.get()},
            [ended] { ended->set_value(); });
  task.launch();
  task.kill();
  ended->get_future().wait();
  EXPECT_EQ(signals, 1);
  task.terminate();
  task.kill();
  EXPECT_EQ(signals, 1);
  EXPECT_EQ(task.terminationStatus(), SIGKILL);
}

}  // namespace
}  // namespace velmora
