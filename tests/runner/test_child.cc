// The child process of the runner's tests. Its first argument says how it behaves; whatever it
// has to say goes to standard error.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace {

constexpr unsigned longestLifeSeconds = 60;  // so that a failed test leaves no process behind
constexpr int highestDescriptor = 1023;

void say(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(STDERR_FILENO, text.data(), text.size());
    if (count < 0) ::_exit(99);
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

[[noreturn]] void waitForever() {
  for (;;) ::pause();
}

[[noreturn]] void writeForever() {
  for (;;) say("more and more\n");  // in small pieces, to spare the disk
}

// What the child started with, one "name=value" a line.
void describeState() {
  say("descriptors=");
  for (int descriptor = 0; descriptor <= highestDescriptor; ++descriptor) {
    if (::fcntl(descriptor, F_GETFD) >= 0) say(std::to_string(descriptor) + " ");
  }
  for (const char* number : {"0", "1", "2"}) {
    const auto target = std::filesystem::read_symlink(std::string("/proc/self/fd/") + number);
    say("\n" + std::string(number) + "=" + target.string());
  }
  struct stat status {};
  ::fstat(STDERR_FILENO, &status);
  say("\nmode=" + std::to_string(status.st_mode & 07777) + "\n");
  std::ifstream process("/proc/self/status");
  for (std::string line; std::getline(process, line);) {
    if (line.starts_with("SigBlk:") || line.starts_with("SigIgn:")) {
      say(line.replace(6, 2, "=") + "\n");
    }
  }
}

// A grandchild in its own session that keeps standard error open; says its process id.
void leaveGrandchild() {
  const pid_t grandchild = ::fork();
  if (grandchild == 0) {
    ::alarm(longestLifeSeconds);
    ::setsid();
    waitForever();
  }
  say(std::to_string(grandchild));
}

void copyFile(const char* path) {
  std::ifstream file(path, std::ios::binary);
  say(std::string(std::istreambuf_iterator<char>(file), {}));
}

// Each word with its length, which tells spaces and newlines inside from those between.
void sayWords(char** words) {
  for (; *words != nullptr; ++words) {
    const std::string_view word(*words);
    say(std::to_string(word.size()) + ":" + std::string(word) + "\n");
  }
}

}  // namespace

int main(int argc, char** argv, char** environment) {
  ::alarm(longestLifeSeconds);
  const std::string_view mode = argc > 1 ? argv[1] : "";
  if (mode == "state") describeState();
  if (mode == "words") sayWords(argv + 2);
  if (mode == "environment") sayWords(environment);
  if (mode == "folder") say(std::filesystem::current_path().string());
  if (mode == "grandchild") leaveGrandchild();
  if (mode == "create" && argc > 2) std::ofstream(argv[2]) << "started";
  if (mode == "signal" && argc > 2) ::raise(std::atoi(argv[2]));  // NOLINT(cert-err34-c)
  if (mode == "exit-after" && argc > 2) {
    ::usleep(static_cast<useconds_t>(std::atoi(argv[2])));  // NOLINT(cert-err34-c)
    return 3;
  }
  if (mode == "flood") writeForever();
  if (mode == "ignore-terminate") ::signal(SIGTERM, SIG_IGN);
  if (mode == "exit-on-terminate") ::signal(SIGTERM, [](int) { ::_exit(0); });
  if (mode == "stop") ::raise(SIGSTOP);
  if (mode == "wait" || mode == "ignore-terminate" || mode == "exit-on-terminate") waitForever();
  if (mode == "exit" && argc > 3) {
    copyFile(argv[3]);
    return std::atoi(argv[2]);  // NOLINT(cert-err34-c)
  }
  return 0;
}
