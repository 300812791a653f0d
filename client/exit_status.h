// What velmoractl's end says to the shell.
#pragma once

namespace velmora {

enum ExitStatus : int {
  done = 0,
  notDone = 1,  // the helper said no, the listing failed, or the person did
  wrongUsage = 2,
  noAnswer = 3,
  busy = 75,  // EX_TEMPFAIL in sysexits(3)
  interrupted = 130,
  terminated = 143,
};

// Of the signal that asked this program to end: SIGINT or SIGTERM.
constexpr int exitStatusOfSignal(int signal) {
  return 128 + signal;
}

}  // namespace velmora
