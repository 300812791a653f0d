#include "benchmarks/tool_floor.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>

#include "benchmarks/subject.h"
#include "platform/file_descriptor.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): only glibc has it

namespace velmora::bench {

int spawnAndWait(const std::string& path, const std::vector<std::string>& arguments, int error) {
  std::vector<char*> words = {const_cast<char*>(path.c_str())};
  for (const std::string& argument : arguments)
    words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDWR, 0);
  ::posix_spawn_file_actions_adddup2(&actions, STDIN_FILENO, STDOUT_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, error < 0 ? STDIN_FILENO : error, STDERR_FILENO);
  pid_t process = 0;
  const int code = ::posix_spawn(&process, path.c_str(), &actions, nullptr, words.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  errno = code;
  require(code == 0, "posix_spawn");
  int status = 0;
  require(::waitpid(process, &status, 0) == process, "waitpid");
  return status;
}

int runToolBarely(const std::string& path, const std::vector<std::string>& arguments) {
  static std::atomic<unsigned> number = 0;
  const std::string words =
      "/tmp/bare-" + std::to_string(::getpid()) + "-" + std::to_string(number++);
  const FileDescriptor file(::open(words.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  require(file.isOpen(), "open");
  const int status = spawnAndWait(path, arguments, file.get());
  std::array<char, 16384> text;
  require(::pread(file.get(), text.data(), text.size(), 0) >= 0, "pread");
  require(::unlink(words.c_str()) == 0, "unlink");
  return status;
}

}  // namespace velmora::bench
