#include "client/command_line.h"

#include <getopt.h>

#include <array>
#include <string_view>

#include "client/item_argument.h"
#include "client/printable_text.h"

namespace velmora {
namespace {

// The arguments sorted into options and the rest, before it is known what they belong to.
struct Arguments {
  bool help = false;
  bool json = false;
  bool yes = false;
  bool unknownOption = false;
  std::vector<std::string_view> operands = {};
};

Arguments sortArguments(int argumentCount, char** arguments) {
  constexpr int operand = 1;
  constexpr int json = 2;
  const std::array options = {
      option{"help", no_argument, nullptr, 'h'}, option{"json", no_argument, nullptr, json},
      option{"yes", no_argument, nullptr, 'y'}, option{nullptr, 0, nullptr, 0}};
  Arguments sorted;
  for (;;) {
    // The minus hands over everything in order, whatever POSIXLY_CORRECT says.
    // Before any other thread exists.  NOLINTNEXTLINE(concurrency-mt-unsafe)
    const int found = ::getopt_long(argumentCount, arguments, "-hy", options.data(), nullptr);
    if (found == -1) break;
    sorted.help |= found == 'h';
    sorted.json |= found == json;
    sorted.yes |= found == 'y';
    sorted.unknownOption |= found == '?';
    if (found == operand) sorted.operands.emplace_back(optarg);
  }
  for (int i = optind; i < argumentCount; ++i) sorted.operands.emplace_back(arguments[i]);
  return sorted;
}

// What is wrong with what follows `command`'s name; empty when nothing is.
std::string complaintAbout(const Command& command, const Arguments& arguments) {
  const std::string name(command.name);
  if (arguments.json && !command.takesJSON()) return name + " has no option --json";
  if (arguments.yes && !command.takesYes()) return name + " has no option --yes";
  if (command.takesItems() && arguments.operands.size() < 2) return name + ": which items?";
  if (!command.takesItems() && arguments.operands.size() > 1) return name + " takes no arguments";
  return "";
}

CommandLine wrong(const Command* command, std::string complaint) {
  return {.command = command, .isWrong = true, .complaint = std::move(complaint)};
}

}  // namespace

CommandLine parseCommandLine(int argumentCount, char** arguments) {
  const Arguments sorted = sortArguments(argumentCount, arguments);
  const std::string_view name = sorted.operands.empty() ? "" : sorted.operands.front();
  const Command* command = commandNamed(name);
  if (sorted.unknownOption) return wrong(command, "");
  if (command == nullptr && !sorted.operands.empty()) {
    return wrong(nullptr, "there is no command " + printableText(name));
  }
  if (sorted.help) return {.command = command, .wantsHelp = true};
  if (command == nullptr) return wrong(nullptr, "which command?");
  if (std::string complaint = complaintAbout(*command, sorted); !complaint.empty()) {
    return wrong(command, std::move(complaint));
  }

  CommandLine result{.command = command, .asJSON = sorted.json, .isConfirmed = sorted.yes};
  for (std::size_t i = 1; i < sorted.operands.size(); ++i) {
    std::optional<std::string> key = itemKeyFromArgument(sorted.operands[i]);
    if (!key) {
      return wrong(command, printableText(sorted.operands[i]) + " is no KIND/LABEL or KIND|LABEL");
    }
    result.items.push_back(*std::move(key));
  }
  return result;
}

}  // namespace velmora
