#include "client/help_text.h"

#include <array>
#include <utility>

#include "client/command.h"
#include "client/duration.h"

namespace velmora {
namespace {

std::string limitText(const Command& command) {
  double budgetSeconds = 0;
  if (command.operation != nullptr) budgetSeconds = command.operation->budgetSeconds;
  if (command.action == Command::Action::removeItems) budgetSeconds = RemovalBudgetSeconds;
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

constexpr std::array optionTexts = {
    std::pair{
        Command::yes,
        "  --yes, -y         do not ask first; demanded where there is no terminal to ask on\n"},
    std::pair{Command::dryRun, "  --dry-run         show what would be done, and do nothing\n"},
    std::pair{Command::load, "  --load            load the job again in its launchd domain\n"},
    std::pair{Command::wait,
              "  --wait[=SECONDS]  while another operation runs, try again until it has ended, or\n"
              "                    for so many seconds\n"},
    std::pair{
        Command::json,
        "  --json            print one JSON value instead of text; members may be added to its\n"
        "                    objects in time, none is taken away\n"},
};

std::string commandHelp(const Command& command) {
  std::string text = "usage: " + usage(command) + "\n\n" + std::string(command.name) + ": " +
                     std::string(command.summary) + limitText(command) + ".\n" +
                     std::string(command.explanation);
  std::string options;
  for (const auto& [option, explanation] : optionTexts) {
    if (command.takes(option)) options += explanation;
  }
  return options.empty() ? text : text + "\n" + options;
}

std::string programHelp() {
  return "usage: velmoractl COMMAND [ARGUMENT...]\n"
         "       velmoractl --help | --version | help [COMMAND]\n"
         "\n"
         "Asks the Velmora maintenance helper, which runs as root, for one of its fixed\n"
         "operations and waits for the outcome. Only one operation runs at a time in the\n"
         "whole helper; another one meanwhile is refused at once.\n"
         "\n"
         "Commands:\n" +
         commandList() +
         "\n"
         "On a terminal the time that passes is shown, and what cannot be taken back is asked\n"
         "about first; in a pipe there is one line when the helper is asked and one when it is\n"
         "done. Ctrl-C stops the waiting, not the operation: the helper carries on with what\n"
         "it has begun.\n"
         "\n"
         "Examples:\n"
         "  velmoractl free-memory\n"
         "  velmoractl list\n"
         "  velmoractl remove userAgent/org.example.updater\n"
         "\n"
         "Exit status:\n"
         "  0    done\n"
         "  1    the helper said no, or the operation failed (its message is on standard error),\n"
         "       or you said no\n"
         "  2    wrong usage\n"
         "  3    the helper cannot be reached, does not accept this client, or has ended\n"
         "       before an answer\n"
         "  75   another operation runs (EX_TEMPFAIL); see --wait\n"
         "  130  interrupted with Ctrl-C\n"
         "  143  ended by SIGTERM\n"
         "\n"
         "velmoractl is a tool for development and demonstration. To be let in it must carry\n"
         "the client application's identifier and team in its own signature. Do not ship it\n"
         "with a production signature: any process of any user could run it and so ask the\n"
         "helper for everything it does, removals included. On Linux the helper and its code\n"
         "signatures are stand-ins to develop with.\n";
}

}  // namespace

std::string helpText(std::string_view topic) {
  std::string text;
  for (const Command& command : allCommands()) {
    if (belongsTo(command, topic)) text += (text.empty() ? "" : "\n") + commandHelp(command);
  }
  return text.empty() ? programHelp() : text;
}

}  // namespace velmora
