#include "client/command_line.h"

#include <getopt.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "client/duration.h"

namespace velmora {
namespace {

struct Command {
  std::string_view name;
  std::string_view summary;
  const MaintenanceOperation* operation;  // null for the version
};

constexpr std::array commands = {
    Command{"version", "print the helper's protocol version", nullptr},
    Command{"flush-dns-cache", "flush the DNS cache", &DNSCacheFlush},
    Command{"rebuild-spotlight-index", "erase and rebuild the Spotlight index of the root volume",
            &SpotlightIndexRebuild},
    Command{"repair-user-permissions", "reset the permissions of your home folder",
            &UserPermissionRepair},
    Command{"thin-local-snapshots", "thin the local Time Machine snapshots", &SnapshotThinning},
    Command{"free-memory", "purge the disk cache and inactive memory", &MemoryPurge},
};

CommandLine complaint(std::string text) {
  return {.action = CommandLine::Action::complain, .complaint = std::move(text)};
}

CommandLine parseCommand(std::string_view name) {
  const auto* command = std::ranges::find(commands, name, &Command::name);
  if (command == commands.end()) return complaint("there is no command " + std::string(name));
  if (command->operation == nullptr) return {.action = CommandLine::Action::showVersion};
  return {.action = CommandLine::Action::performOperation, .operation = command->operation};
}

std::string commandList() {
  std::string list;
  for (const Command& command : commands) {
    list += "  " + std::string(command.name) + std::string(25 - command.name.size(), ' ') +
            std::string(command.summary);
    if (command.operation != nullptr) {
      list += " (at most " + durationText(command.operation->budgetSeconds) + ")";
    }
    list += "\n";
  }
  return list;
}

}  // namespace

CommandLine parseCommandLine(int argumentCount, char** arguments) {
  const std::array options = {option{"help", no_argument, nullptr, 'h'},
                              option{nullptr, 0, nullptr, 0}};
  for (;;) {
    // Before any other thread exists.  NOLINTNEXTLINE(concurrency-mt-unsafe)
    const int found = ::getopt_long(argumentCount, arguments, "+h", options.data(), nullptr);
    if (found == -1) break;
    if (found == 'h') return {.action = CommandLine::Action::showHelp};
    return complaint("");
  }
  if (optind == argumentCount) return complaint("which command?");
  const std::string name = arguments[optind];
  if (optind + 1 < argumentCount) return complaint(name + " takes no arguments");
  return parseCommand(name);
}

std::string helpText() {
  return "usage: velmoractl COMMAND\n"
         "       velmoractl --help\n"
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
         "Exit status:\n"
         "  0    done\n"
         "  1    the helper said no, or the operation failed; its message is on standard error\n"
         "  2    wrong usage\n"
         "  3    the helper cannot be reached, does not accept this client, or has ended\n"
         "       before an answer\n"
         "  130  interrupted with Ctrl-C\n"
         "\n"
         "velmoractl is a tool for development and demonstration. To be let in it must carry\n"
         "the client application's identifier and team in its own signature. Do not ship it\n"
         "with a production signature: any process of any user could run it and so ask the\n"
         "helper for everything it does.\n";
}

}  // namespace velmora
