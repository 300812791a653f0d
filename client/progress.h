// Shows on standard output how far a call of the helper is: for how long already, out of which
// budget.
#pragma once

#include <atomic>
#include <functional>
#include <string>

namespace velmora {

class Progress {
 public:
  // `title` says what is asked for, `outcomeHint` how its outcome can be seen later, a sentence.
  // Nothing is shown where `isSilent`.
  Progress(std::string title, double budgetSeconds, std::string outcomeHint, bool isSilent);

  // Makes `call` on a thread of its own and shows the time that passes: on a terminal in one
  // line, kept up to date and gone when this returns; elsewhere a line when something changes.
  // Raises what `call` raises. On Ctrl-C and SIGTERM it says whether the helper carries on, since
  // a call cannot be taken back, and ends the process with the signal's exit status.
  void showWhile(const std::function<void()>& call);

  // From within the call: the helper has let this client in and is asked now; or another
  // operation runs, and this one is not asked for at the moment.
  void noteAsked();
  void noteBusy();

  // Since it was asked last.
  double elapsedSeconds() const;

  // Says that it is done, and how long it took.
  void conclude() const;

 private:
  enum class Display { line, lines, nothing };

  void sayOnce(bool& isSaid, const std::string& text) const;
  std::string currentText() const;
  void draw();
  void erase();
  [[noreturn]] void endInterrupted();

  const std::string title_;
  const double budgetSeconds_;
  const std::string outcomeHint_;
  const Display display_;
  std::atomic<bool> isAsked_ = false;     // and has not said that it is busy
  std::atomic<double> askedAt_;           // on the uptime clock; at first, when this was made
  std::atomic<double> waitingSince_ = 0;  // the same; 0 where it was never busy
  bool isAskingSaid_ = false;             // used from within the call alone
  bool isWaitingSaid_ = false;
  std::string drawn_;  // what the terminal's line shows
};

}  // namespace velmora
