// What velmoractl's end says to the shell.
#pragma once

namespace velmora {

enum ExitStatus : int {
  done = 0,
  notDone = 1,  // the helper said no, the listing failed, or the person did
  wrongUsage = 2,
  noAnswer = 3,
  interrupted = 130,
};

}  // namespace velmora
