#include "client/confirmation.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <string_view>

#include "client/exit_status.h"
#include "client/interruption.h"
#include "client/usage_error.h"
#include "platform/file_descriptor.h"

namespace velmora {
namespace {

void endUnconfirmed(int signal) {
  constexpr std::string_view text = "\nvelmoractl: interrupted; nothing was done\n";
  // Nobody is left to be told that the line could not be written.
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
  ::_exit(exitStatusOfSignal(signal));
}

FileDescriptor openTerminal(const Command& command) {
  FileDescriptor terminal;
  if (::isatty(STDIN_FILENO) == 1) {
    terminal = FileDescriptor(::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC));
  }
  if (!terminal.isOpen()) {
    throw UsageError(command.name,
                     std::string(command.name) +
                         " asks first, and there is no terminal to ask on; --yes says yes to it");
  }
  return terminal;
}

}  // namespace

bool isAgreedTo(const CommandLine& commandLine, const std::string& question) {
  if (commandLine.has(Command::yes)) return true;
  const FileDescriptor terminal = openTerminal(*commandLine.command);
  InterruptionWatch watch(endUnconfirmed);
  watch.releaseInThisThread();
  (void)std::fflush(stdout);
  // One that could not be shown is not answered with a yes either.
  (void)::dprintf(terminal.get(), "%s [y/N] ", question.c_str());
  // A terminal gives a line at a time, never a longer one: termios(3).
  std::array<char, 4096> line{};
  const ssize_t size = ::read(terminal.get(), line.data(), line.size());
  if (size <= 0) (void)::dprintf(terminal.get(), "\n");
  std::string answer(line.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
  if (answer.ends_with('\n')) answer.pop_back();
  std::ranges::transform(answer, answer.begin(), [](unsigned char character) {
    return static_cast<char>(std::tolower(character));
  });
  return answer == "y" || answer == "yes";
}

}  // namespace velmora
