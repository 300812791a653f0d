#include "client/command.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <vector>

namespace velmora {
namespace {

using Action = Command::Action;

constexpr std::string_view operationExplanation =
    "The helper refuses it at once, with status 75, while another operation runs.\n";

constexpr Command operationCommand(std::string_view name, std::string_view summary,
                                   const MaintenanceOperation& operation) {
  return {.name = name,
          .arguments = "[--wait[=SECONDS]] [--json]",
          .summary = summary,
          .explanation = operationExplanation,
          .action = Action::performOperation,
          .options = Command::json | Command::wait,
          .operation = &operation};
}

constexpr Command lossyCommand(std::string_view name, std::string_view summary,
                               const MaintenanceOperation& operation, std::string_view loss) {
  Command command = operationCommand(name, summary, operation);
  command.arguments = "[--yes] [--wait[=SECONDS]] [--json]";
  command.options |= Command::yes;
  command.loss = loss;
  return command;
}

constexpr std::array commands = {
    Command{.name = "version",
            .arguments = "",
            .summary = "print the helper's protocol version",
            .explanation = "A quick way to see whether the helper answers; of this program's own\n"
                           "version, see 'velmoractl --version'.\n",
            .action = Action::showVersion},
    operationCommand("flush-dns-cache", "flush the DNS cache", DNSCacheFlush),
    lossyCommand("rebuild-spotlight-index",
                 "erase and rebuild the Spotlight index of the root volume", SpotlightIndexRebuild,
                 "The index is erased; until it is rebuilt, searches find little."),
    operationCommand("repair-user-permissions", "reset the permissions of your home folder",
                     UserPermissionRepair),
    lossyCommand("thin-local-snapshots", "thin the local Time Machine snapshots", SnapshotThinning,
                 "Snapshots that are thinned out cannot be brought back."),
    operationCommand("free-memory", "purge the disk cache and inactive memory", MemoryPurge),
    Command{
        .name = "list",
        .arguments = "[--json]",
        .summary = "list the launchd jobs that could be removed for you",
        .explanation =
            "Looks at every property list in your own Library/LaunchAgents, in\n"
            "/Library/LaunchAgents and in /Library/LaunchDaemons, by the helper's own rules but\n"
            "with your permissions, and does not ask the helper. Of each file it shows the item's\n"
            "key, or \"-\" and the reason why it is no item.\n"
            "\n"
            "With --json, one array, each property list an object on a line of its own: \"file\",\n"
            "\"kind\", \"removable\"; \"label\" where one was read, \"key\" where it is "
            "removable,\n"
            "\"reason\" where it is not.\n",
        .action = Action::listItems,
        .options = Command::json},
    Command{
        .name = "remove",
        .arguments = "[--yes | --dry-run] [--wait[=SECONDS]] [--json] ITEM...",
        .summary = "stop launchd jobs, archive and delete their files",
        .explanation =
            "An ITEM is a key as 'velmoractl list' shows it, KIND|LABEL; or KIND/LABEL, which "
            "needs\n"
            "no quotes in a shell; or the full path of a file that it shows. KIND is userAgent,\n"
            "sharedAgent or systemDaemon. At most 128 items can be asked for at a time.\n"
            "\n"
            "One item that is missing or ambiguous refuses the whole request. The items are then\n"
            "removed one by one; the first that fails ends the request, and those before it stay\n"
            "removed. After a failure it is said which items are gone.\n",
        .action = Action::removeItems,
        .options = Command::json | Command::yes | Command::wait | Command::dryRun},
    Command{
        .name = "archive list",
        .arguments = "[--json]",
        .summary = "list what was removed, as root",
        .explanation =
            "Reads the records of the archive, without the helper. A line has the id of what was\n"
            "removed, when that was, the item's key and its file. An entry that is damaged is "
            "named\n"
            "on standard error, with exit status 1.\n"
            "\n"
            "With --json, one array, each record an object on a line of its own: \"id\", "
            "\"label\",\n"
            "\"kind\", \"originalPath\", \"removedAt\" (ISO 8601, UTC), \"clientUserIdentifier\",\n"
            "\"restored\".\n",
        .action = Action::listArchive,
        .options = Command::json},
    Command{
        .name = "archive restore",
        .arguments = "[--yes] [--load] ID...",
        .summary = "put back what was removed, as root",
        .explanation =
            "Puts the file of each ID that 'velmoractl archive list' shows back where it was, "
            "with\n"
            "its bytes, the owner of its kind and mode 0644. Nothing that has the place by now is\n"
            "replaced. The archive keeps its copy. The helper is not asked.\n",
        .action = Action::restoreFromArchive,
        .options = Command::yes | Command::load},
    Command{
        .name = "doctor",
        .arguments = "[--json]",
        .summary = "find out why the helper cannot be reached, or refuses",
        .explanation =
            "Asks the helper for its version and looks at the signatures of this program and of\n"
            "the helper, and at the log, as far as you may. Each line is something found: \"ok\",\n"
            "\"problem\" with what to do, or \"unknown\" where you may not look. Exit status 1\n"
            "when there is a problem.\n"
            "\n"
            "With --json, one array, each finding an object with \"check\", \"state\" and\n"
            "\"finding\", and \"remedy\" where there is one.\n",
        .action = Action::diagnose,
        .options = Command::json},
    Command{.name = "help",
            .arguments = "[COMMAND]...",
            .summary = "show how a command is used",
            .explanation = "The same as 'velmoractl COMMAND --help'.\n",
            .action = Action::showHelp},
};

// How many letters have to be put in, taken out, changed or swapped with their neighbour.
std::size_t distanceBetween(std::string_view left, std::string_view right) {
  std::vector<std::size_t> beforeLast(right.size() + 1);
  std::vector<std::size_t> last(right.size() + 1);
  std::vector<std::size_t> row(right.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (std::size_t i = 1; i <= left.size(); ++i) {
    beforeLast.swap(last);
    last.swap(row);
    row[0] = i;
    for (std::size_t j = 1; j <= right.size(); ++j) {
      const std::size_t change = left[i - 1] == right[j - 1] ? 0 : 1;
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + change});
      const bool isSwapped =
          i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1];
      if (isSwapped) row[j] = std::min(row[j], beforeLast[j - 2] + 1);
    }
  }
  return row.back();
}

}  // namespace

std::span<const Command> allCommands() {
  return commands;
}

const Command* commandNamed(std::string_view name) {
  const auto* command = std::ranges::find(commands, name, &Command::name);
  return command == commands.end() ? nullptr : command;
}

bool belongsTo(const Command& command, std::string_view topic) {
  return command.name == topic ||
         (command.name.starts_with(topic) && command.name.substr(topic.size()).starts_with(' '));
}

std::string suggestionFor(std::string_view word) {
  constexpr std::size_t longest = 40;
  constexpr std::size_t shortestBeginning = 3;
  if (word.size() > longest) return "";
  std::string_view nearest;
  std::size_t distance = 1 + word.size() / 4;
  for (const Command& command : commands) {
    const bool isBeginning = word.size() >= shortestBeginning && command.name.starts_with(word);
    const std::size_t found = isBeginning ? 0 : distanceBetween(word, command.name);
    if (found > distance) continue;
    nearest = command.name;
    distance = found;
  }
  return nearest.empty() ? "" : "; did you mean " + std::string(nearest) + "?";
}

}  // namespace velmora
