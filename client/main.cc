// velmoractl: asks the helper for its operations from the command line.
#include "client/command_line.h"
#include "client/commands.h"

int main(int argumentCount, char** arguments) {
  return velmora::runCommand(velmora::parseCommandLine(argumentCount, arguments));
}
