#include "client/help_text.h"

#include "client/command.h"
#include "client/duration.h"

namespace velmora {
namespace {

std::string limitText(const Command& command) {
  double budgetSeconds = 0;
  if (command.operation != nullptr) budgetSeconds = command.operation->budgetSeconds;
  if (command.takesItems()) budgetSeconds = RemovalBudgetSeconds;
  return budgetSeconds == 0 ? "" : " (at most " + durationText(budgetSeconds) + ")";
}

std::string usage(const Command& command) {
  const std::string arguments(command.arguments);
  return "velmoractl " + std::string(command.name) + (arguments.empty() ? "" : " ") + arguments;
}

std::string commandList() {
  constexpr std::size_t summaryColumn = 25;
  std::string list;
  for (const Command& command : allCommands()) {
    list += "  " + std::string(command.name) +
            std::string(summaryColumn - command.name.size(), ' ') + std::string(command.summary) +
            limitText(command) + "\n";
  }
  return list;
}

std::string commandHelp(const Command& command) {
  return "usage: " + usage(command) + "\n\n" + std::string(command.name) + ": " +
         std::string(command.summary) + limitText(command) + ".\n" +
         std::string(command.explanation);
}

}  // namespace

std::string helpText(const Command* command) {
  if (command != nullptr) return commandHelp(*command);
  return "usage: velmoractl COMMAND [ARGUMENT...]\n"
         "       velmoractl [COMMAND] --help\n"
         "\n"
         "Asks the Velmora maintenance helper, which runs as root, for one of its fixed\n"
         "operations and waits for the outcome. Only one operation runs at a time in the\n"
         "whole helper; another one meanwhile is refused at once.\n"
         "\n"
         "Commands:\n" +
         commandList() +
         "\n"
         "On a terminal the time that passes is shown; in a pipe there is one line when an\n"
         "operation starts and one when it is done. Ctrl-C stops the waiting, not the\n"
         "operation: the helper carries on with what it has begun.\n"
         "\n"
         "Examples:\n"
         "  velmoractl free-memory\n"
         "  velmoractl list\n"
         "  velmoractl remove userAgent/org.example.updater\n"
         "\n"
         "Exit status:\n"
         "  0    done\n"
         "  1    the helper said no, or the operation failed (its message is on standard error),\n"
         "       or you did not confirm the removal\n"
         "  2    wrong usage\n"
         "  3    the helper cannot be reached, does not accept this client, or has ended\n"
         "       before an answer\n"
         "  130  interrupted with Ctrl-C\n"
         "\n"
         "velmoractl is a tool for development and demonstration. To be let in it must carry\n"
         "the client application's identifier and team in its own signature. Do not ship it\n"
         "with a production signature: any process of any user could run it and so ask the\n"
         "helper for everything it does, removals included.\n";
}

}  // namespace velmora
