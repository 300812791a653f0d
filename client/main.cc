// velmoractl: asks the helper for its operations from the command line.
#include "client/commands.h"

int main(int argumentCount, char** arguments) {
  return velmora::runCommand(argumentCount, arguments);
}
