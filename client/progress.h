// Shows on standard output that the helper works, for how long already and out of which budget.
#pragma once

#include <functional>
#include <string>

namespace velmora {

class Progress {
 public:
  // `title` says what runs.
  Progress(std::string title, double budgetSeconds);

  // Makes `call` on a thread of its own and shows the time that passes: on a terminal in one
  // line, kept up to date and gone when this returns; elsewhere only a line that it has begun.
  // Raises what `call` raises. On Ctrl-C it says that the helper carries on and ends the process
  // with ExitStatus::interrupted: the call cannot be taken back.
  void showWhile(const std::function<void()>& call);

  // Says that it is done, and how long it took.
  void conclude() const;

 private:
  double elapsedSeconds() const;
  void draw() const;
  void erase() const;
  [[noreturn]] void endInterrupted() const;

  const std::string title_;
  const double budgetSeconds_;
  const bool onTerminal_;
  const double start_;  // on the uptime clock
};

}  // namespace velmora
