#include "client/confirmation.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <cstdio>
#include <iostream>
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
  std::string answer;
  if (!std::getline(std::cin, answer)) std::fputs("\n", stderr);
  std::ranges::transform(answer, answer.begin(), [](unsigned char character) {
    return static_cast<char>(std::tolower(character));
  });
  return answer == "y" || answer == "yes";
}

}  // namespace velmora
