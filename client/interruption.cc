#include "client/interruption.h"

namespace velmora {

InterruptionWatch::InterruptionWatch(void (*handler)(int)) {
  sigemptyset(&signals_);
  sigaddset(&signals_, SIGINT);
  sigaddset(&signals_, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &signals_, &maskBefore_);
  struct sigaction action {};
  action.sa_handler = handler;
  ::sigaction(SIGINT, &action, &interruptBefore_);
  ::sigaction(SIGTERM, &action, &terminateBefore_);
}

InterruptionWatch::~InterruptionWatch() {
  ::sigaction(SIGINT, &interruptBefore_, nullptr);
  ::sigaction(SIGTERM, &terminateBefore_, nullptr);
  ::pthread_sigmask(SIG_SETMASK, &maskBefore_, nullptr);
}

void InterruptionWatch::releaseInThisThread() {
  ::pthread_sigmask(SIG_UNBLOCK, &signals_, nullptr);
}

}  // namespace velmora
