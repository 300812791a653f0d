#include "client/confirmation.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <csignal>
#include <cstdio>
#include <string_view>

#include "client/exit_status.h"

namespace velmora {
namespace {

void endUnconfirmed(int) {
  constexpr std::string_view text = "\nvelmoractl: interrupted; the helper was asked for nothing\n";
  // Nobody is left to be told that the line could not be written.
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
  ::_exit(ExitStatus::interrupted);
}

// For its life, Ctrl-C ends the process at once: nothing has been begun.
class InterruptEndsProcess {
 public:
  InterruptEndsProcess() {
    struct sigaction action {};
    action.sa_handler = endUnconfirmed;
    ::sigaction(SIGINT, &action, &actionBefore_);
  }
  InterruptEndsProcess(const InterruptEndsProcess&) = delete;
  InterruptEndsProcess& operator=(const InterruptEndsProcess&) = delete;
  ~InterruptEndsProcess() { ::sigaction(SIGINT, &actionBefore_, nullptr); }

 private:
  struct sigaction actionBefore_ {};
};

}  // namespace

bool canAskForConfirmation() {
  return ::isatty(STDIN_FILENO) == 1;
}

bool confirm(const std::string& question) {
  const InterruptEndsProcess interrupt;
  std::fprintf(stderr, "%s [y/N] ", question.c_str());
  // A terminal gives a line at a time, never a longer one: termios(3).
  std::array<char, 4096> line{};
  const ssize_t size = ::read(STDIN_FILENO, line.data(), line.size());
  if (size <= 0) std::fputs("\n", stderr);
  std::string answer(line.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
  if (answer.ends_with('\n')) answer.pop_back();
  std::ranges::transform(answer, answer.begin(), [](unsigned char character) {
    return static_cast<char>(std::tolower(character));
  });
  return answer == "y" || answer == "yes";
}

}  // namespace velmora
