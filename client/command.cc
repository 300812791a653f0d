#include "client/command.h"

#include <algorithm>
#include <array>

namespace velmora {
namespace {

constexpr std::string_view operationExplanation =
    "The helper refuses it at once while another operation runs.\n";

constexpr Command operationCommand(std::string_view name, std::string_view summary,
                                   const MaintenanceOperation& operation) {
  return {name, "", summary, operationExplanation, Command::Action::performOperation, &operation};
}

constexpr std::array commands = {
    Command{"version", "", "print the helper's protocol version",
            "A quick way to see whether the helper answers.\n", Command::Action::showVersion},
    operationCommand("flush-dns-cache", "flush the DNS cache", DNSCacheFlush),
    operationCommand("rebuild-spotlight-index",
                     "erase and rebuild the Spotlight index of the root volume",
                     SpotlightIndexRebuild),
    operationCommand("repair-user-permissions", "reset the permissions of your home folder",
                     UserPermissionRepair),
    operationCommand("thin-local-snapshots", "thin the local Time Machine snapshots",
                     SnapshotThinning),
    operationCommand("free-memory", "purge the disk cache and inactive memory", MemoryPurge),
    Command{
        "list", "[--json]", "list the launchd jobs that could be removed for you",
        "Looks at every property list in your own Library/LaunchAgents, in\n"
        "/Library/LaunchAgents and in /Library/LaunchDaemons, by the helper's own rules but\n"
        "with your permissions, and does not ask the helper. Of each file it shows the item's\n"
        "key, or \"-\" and the reason why it is no item.\n"
        "\n"
        "  --json  print one JSON array instead, each property list an object on a line of its\n"
        "          own: \"file\", \"kind\", \"removable\"; \"label\" where one was read, \"key\"\n"
        "          where it is removable, \"reason\" where it is not\n",
        Command::Action::listItems},
    Command{
        "remove", "[--yes] ITEM...", "stop launchd jobs, archive and delete their files",
        "An ITEM is a key as 'velmoractl list' shows it, KIND|LABEL, or KIND/LABEL, which needs\n"
        "no quotes in a shell. KIND is userAgent, sharedAgent or systemDaemon.\n"
        "\n"
        "One item that is missing or ambiguous refuses the whole request. The items are then\n"
        "removed one by one; the first that fails ends the request, and those before it stay\n"
        "removed. After a failure it is said which items are gone.\n"
        "\n"
        "  --yes, -y  do not ask first; nothing is asked either when standard input is no\n"
        "             terminal\n",
        Command::Action::removeItems},
};

}  // namespace

std::span<const Command> allCommands() {
  return commands;
}

const Command* commandNamed(std::string_view name) {
  const auto* command = std::ranges::find(commands, name, &Command::name);
  return command == commands.end() ? nullptr : command;
}

}  // namespace velmora
