// start_up HELPER BARE_SERVICE HELPER_SOCKET VELMORACTL BARE_CLIENT: from the start of a service,
// on demand, to its first answer, of the helper and of the bare service, which makes the same
// checks; and a command that asks the helper for its version and ends.
#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include "benchmarks/subject.h"
#include "benchmarks/tool_floor.h"
#include "benchmarks/wire.h"
#include "platform/file_descriptor.h"

namespace velmora::bench {
namespace {

constexpr int passedSocket = 3;
constexpr const char* socketPath = "/run/start-up.socket";

FileDescriptor listeningSocket() {
  ::unlink(socketPath);
  FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const sockaddr_un address{AF_UNIX, "/run/start-up.socket"};
  require(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
              ::listen(socket.get(), SOMAXCONN) == 0,
          socketPath);
  return socket;
}

// Started as systemd does: sd_listen_fds(3).
pid_t startWith(const FileDescriptor& socket, std::vector<std::string> command) {
  const pid_t process = ::fork();
  require(process >= 0, "fork");
  if (process > 0) return process;
  // NOLINTBEGIN(concurrency-mt-unsafe): there is one thread only.
  ::setenv("LISTEN_PID", std::to_string(::getpid()).c_str(), 1);
  ::setenv("LISTEN_FDS", "1", 1);
  // NOLINTEND(concurrency-mt-unsafe)
  std::vector<char*> words;
  words.reserve(command.size() + 1);
  for (std::string& word : command) words.push_back(word.data());
  words.push_back(nullptr);
  // Onto its own number, a duplicate would still be closed.
  if (socket.get() == passedSocket) {
    ::fcntl(passedSocket, F_SETFD, 0);
  } else {
    ::dup2(socket.get(), passedSocket);
  }
  ::execv(words[0], words.data());
  ::_exit(127);
}

double secondsToFirstAnswer(const std::vector<std::string>& command) {
  const FileDescriptor socket = listeningSocket();
  pid_t process = 0;
  const double seconds = secondsOf([&] {
    process = startWith(socket, command);
    WireClient(socketPath).call(versionMethod());
  });
  ::kill(process, SIGKILL);
  ::waitpid(process, nullptr, 0);
  return seconds;
}

Subject start(std::vector<std::string> command) {
  return [command = std::move(command)](std::size_t count) {
    double seconds = 0;
    for (std::size_t i = 0; i < count; ++i) seconds += secondsToFirstAnswer(command);
    return seconds;
  };
}

Subject run(const std::string& program, const std::string& argument) {
  return timed([=] { require(spawnAndWait(program, {argument}) == 0, program.c_str()); });
}

}  // namespace
}  // namespace velmora::bench

int main(int count, char** words) {
  using namespace velmora::bench;  // NOLINT(google-build-using-namespace)
  if (count != 6) return 2;
  const std::string helper = words[1];
  const std::string client = std::string(words[0]);
  return obey({{"ours", start({helper})},
               {"floor", start({words[2], "demand", helper, client})},
               {"command", run(words[4], "version")},
               {"bare_command", run(words[5], words[3])}});
}
