#include "client/command_line.h"

#include <getopt.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <span>
#include <string_view>

#include "client/printable_text.h"
#include "client/usage_error.h"

namespace velmora {
namespace {

using Words = std::span<const std::string_view>;

constexpr std::array optionNames = {
    std::pair{Command::json, "--json"}, std::pair{Command::yes, "--yes"},
    std::pair{Command::wait, "--wait"}, std::pair{Command::dryRun, "--dry-run"},
    std::pair{Command::load, "--load"},
};

// The arguments sorted into options and the rest, before it is known what they belong to.
struct Arguments {
  bool help = false;
  bool version = false;
  unsigned options = Command::none;
  std::string wrongOption = {};  // what is wrong with one, unless it has been said
  bool hasWrongOption = false;
  double waitSeconds = 0;
  std::vector<std::string_view> words = {};

  void refuseOption(std::string complaint) {
    hasWrongOption = true;
    wrongOption = std::move(complaint);
  }
};

void takeWait(Arguments& sorted, const char* value) {
  sorted.options |= Command::wait;
  sorted.waitSeconds = std::numeric_limits<double>::infinity();
  if (value == nullptr) return;
  constexpr unsigned longest = 31'536'000;  // a year
  const std::string_view text(value);
  unsigned seconds = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  if (error != std::errc() || end != text.data() + text.size() || seconds > longest) {
    sorted.refuseOption("--wait takes a whole number of seconds, not " + printableText(text));
  }
  sorted.waitSeconds = seconds;
}

Arguments sortArguments(int argumentCount, char** arguments) {
  enum : int { operand = 1, help = 'h', yes = 'y', version = 2, json, wait, dryRun, load };
  const std::array options = {option{"help", no_argument, nullptr, help},
                              option{"json", no_argument, nullptr, json},
                              option{"yes", no_argument, nullptr, yes},
                              option{"load", no_argument, nullptr, load},
                              option{"wait", optional_argument, nullptr, wait},
                              option{"dry-run", no_argument, nullptr, dryRun},
                              option{"version", no_argument, nullptr, version},
                              option{nullptr, 0, nullptr, 0}};
  Arguments sorted;
  for (;;) {
    int index = -1;
    // The minus hands over everything in order, whatever POSIXLY_CORRECT says.
    // Before any other thread exists.  NOLINTNEXTLINE(concurrency-mt-unsafe)
    const int found = ::getopt_long(argumentCount, arguments, "-hy", options.data(), &index);
    if (found == -1) break;
    if (found == operand) sorted.words.emplace_back(optarg);
    if (found == '?') sorted.refuseOption("");
    sorted.help |= found == help;
    sorted.version |= found == version;
    if (found == json) sorted.options |= Command::json;
    if (found == yes) sorted.options |= Command::yes;
    if (found == dryRun) sorted.options |= Command::dryRun;
    if (found == load) sorted.options |= Command::load;
    if (found == wait) takeWait(sorted, optarg);
    if (index < 0 || found == '?') continue;
    // The library takes any beginning; a script that uses one breaks with the next new option.
    const std::string name = std::string("--") + options[static_cast<std::size_t>(index)].name;
    const std::string_view given(arguments[optind - 1]);
    if (given.substr(0, given.find('=')) != name) {
      sorted.refuseOption("options are taken in full only: " + name);
    }
  }
  for (int i = optind; i < argumentCount; ++i) sorted.words.emplace_back(arguments[i]);
  return sorted;
}

std::string joined(Words words) {
  std::string text;
  for (const std::string_view word : words) {
    text += (text.empty() ? "" : " ") + std::string(word);
  }
  return text;
}

// Takes the words off `words` that name a command; null when they do not.
const Command* takeCommand(Words& words) {
  for (std::size_t count = std::min<std::size_t>(2, words.size()); count > 0; --count) {
    if (const Command* command = commandNamed(joined(words.first(count)))) {
      words = words.subspan(count);
      return command;
    }
  }
  return nullptr;
}

bool isTopic(std::string_view topic) {
  return std::ranges::any_of(allCommands(),
                             [&](const Command& command) { return belongsTo(command, topic); });
}

[[noreturn]] void refuseUnknown(Words words) {
  if (words.empty()) throw UsageError("", "which command?");
  const std::string first(words.front());
  if (words.size() == 1 && isTopic(first)) throw UsageError(first, first + " needs a second word");
  const std::string name = isTopic(first) ? joined(words.first(2)) : first;
  throw UsageError("", "there is no command " + printableText(name) + suggestionFor(name));
}

// What is wrong with what follows `command`'s name; empty when nothing is.
std::string complaintAbout(const Command& command, const Arguments& arguments, Words operands) {
  const std::string name(command.name);
  for (const auto& [option, text] : optionNames) {
    if ((arguments.options & option) != 0 && !command.takes(option)) {
      return name + " has no option " + text;
    }
  }
  if ((arguments.options & Command::yes) != 0 && (arguments.options & Command::dryRun) != 0) {
    return name + ": either --yes or --dry-run";
  }
  if (!command.takesOperands() && !operands.empty()) return name + " takes no arguments";
  const bool needsOperands = command.takesOperands() && command.action != Command::Action::showHelp;
  return needsOperands && operands.empty() ? name + ": which ones?" : "";
}

CommandLine help(Words topic) {
  CommandLine result{.wantsHelp = true, .topic = joined(topic)};
  if (!topic.empty() && !isTopic(result.topic)) refuseUnknown(topic);
  return result;
}

}  // namespace

CommandLine parseCommandLine(int argumentCount, char** arguments) {
  const Arguments sorted = sortArguments(argumentCount, arguments);
  Words words = sorted.words;
  const Command* command = takeCommand(words);
  if (sorted.hasWrongOption) {
    throw UsageError(command == nullptr ? "" : command->name, sorted.wrongOption);
  }
  if (command == nullptr && sorted.help) return help(words);
  if (command == nullptr && sorted.version && words.empty()) return {.wantsVersion = true};
  if (command == nullptr) refuseUnknown(words);
  if (sorted.help) return {.wantsHelp = true, .topic = std::string(command->name)};
  if (sorted.version) throw UsageError(command->name, "--version stands alone");
  if (std::string complaint = complaintAbout(*command, sorted, words); !complaint.empty()) {
    throw UsageError(command->name, std::move(complaint));
  }
  if (command->action == Command::Action::showHelp) return help(words);
  return {.command = command,
          .operands = {words.begin(), words.end()},
          .options = sorted.options,
          .waitSeconds = sorted.waitSeconds};
}

}  // namespace velmora
