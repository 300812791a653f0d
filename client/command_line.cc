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

// What getopt_long returns for a long option that is one of a command's: this and the option.
constexpr int commandOptions = 256;

constexpr std::array longOptions = {
    option{"help", no_argument, nullptr, 'h'},
    option{"version", no_argument, nullptr, 'V'},
    option{"yes", no_argument, nullptr, commandOptions + Command::yes},
    option{"dry-run", no_argument, nullptr, commandOptions + Command::dryRun},
    option{"wait", optional_argument, nullptr, commandOptions + Command::wait},
    option{"load", no_argument, nullptr, commandOptions + Command::load},
    option{"json", no_argument, nullptr, commandOptions + Command::json},
    option{nullptr, 0, nullptr, 0},
};

// The arguments sorted into options and the rest, before it is known what they belong to.
struct Arguments {
  bool help = false;
  bool version = false;
  unsigned options = Command::none;
  std::string wrongOption = {};  // what is wrong with one; empty when nothing is
  double waitSeconds = 0;
  std::vector<std::string_view> words = {};
};

void takeWaitSeconds(Arguments& sorted, const char* value) {
  constexpr unsigned longest = 31'536'000;  // a year
  sorted.waitSeconds = std::numeric_limits<double>::infinity();
  if (value == nullptr) return;
  const std::string_view text(value);
  unsigned seconds = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  if (error != std::errc() || end != text.data() + text.size() || seconds > longest) {
    sorted.wrongOption = "--wait takes a whole number of seconds, not " + printableText(text);
  }
  sorted.waitSeconds = seconds;
}

// An option that the library refuses is a letter, or all of `given`.
std::string refusal(std::string_view given) {
  const bool isLetter = optopt > 0 && optopt < commandOptions && !given.starts_with("--");
  return "there is no option " +
         printableText(isLetter ? "-" + std::string(1, static_cast<char>(optopt)) : given);
}

void takeOption(Arguments& sorted, int found) {
  sorted.help |= found == 'h';
  sorted.version |= found == 'V';
  if (found == 'y') sorted.options |= Command::yes;
  if (found < commandOptions) return;
  const auto taken = static_cast<unsigned>(found - commandOptions);
  sorted.options |= taken;
  if (taken == Command::wait) takeWaitSeconds(sorted, optarg);
}

// The library takes any beginning; a script that uses one breaks with the next new option.
void refuseShortened(Arguments& sorted, const option& found, std::string_view given) {
  const std::string name = std::string("--") + found.name;
  if (given.substr(0, given.find('=')) != name) {
    sorted.wrongOption = "options are taken in full only: " + name;
  }
}

Arguments sortArguments(int argumentCount, char** arguments) {
  constexpr int operand = 1;
  Arguments sorted;
  opterr = 0;  // it would call this program by its path
  for (;;) {
    int index = -1;
    // The minus hands over everything in order, whatever POSIXLY_CORRECT says.
    // Before any other thread exists.  NOLINTNEXTLINE(concurrency-mt-unsafe)
    const int found = ::getopt_long(argumentCount, arguments, "-hy", longOptions.data(), &index);
    if (found == -1) break;
    if (found == operand) {
      sorted.words.emplace_back(optarg);
      continue;
    }
    const char* given = arguments[optind - 1];
    if (found == '?') {
      sorted.wrongOption = refusal(given);
      continue;
    }
    takeOption(sorted, found);
    if (index >= 0) {
      refuseShortened(sorted, longOptions.at(static_cast<std::size_t>(index)), given);
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
  for (const option& each : longOptions) {
    const unsigned bit =
        each.val < commandOptions ? 0U : static_cast<unsigned>(each.val - commandOptions);
    if ((arguments.options & bit & ~command.options) != 0) {
      return name + " has no option --" + each.name;
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
  if (!sorted.wrongOption.empty()) {
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
