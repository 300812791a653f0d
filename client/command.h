// The commands of velmoractl.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "protocol/operations.h"

namespace velmora {

struct Command {
  enum class Action {
    showHelp,
    showVersion,
    performOperation,
    listItems,
    removeItems,
    diagnose,
    listArchive,
    restoreFromArchive,
  };

  // Besides --help, which every command takes.
  enum Option : unsigned { none = 0, json = 1, yes = 2, wait = 4, dryRun = 8, load = 16 };

  std::string_view name;       // one word, or two with a space between them
  std::string_view arguments;  // as its usage shows them
  std::string_view summary;
  std::string_view explanation;  // what more its own --help says, in whole lines
  Action action;
  unsigned options = none;
  const MaintenanceOperation* operation = nullptr;  // with performOperation
  std::string_view loss = {};  // what cannot be taken back, a sentence: asked about first

  bool takes(Option option) const { return (options & option) != 0; }
  bool takesOperands() const { return arguments.ends_with("..."); }
};

// In the order in which --help shows them.
std::span<const Command> allCommands();

// Null when there is none of this name.
const Command* commandNamed(std::string_view name);

// Whether `command` is what `topic` names: the command itself, or the first word of its two.
bool belongsTo(const Command& command, std::string_view topic);

// "; did you mean ...?" with the command that somebody who typed `word` may have meant, or nothing.
std::string suggestionFor(std::string_view word);

}  // namespace velmora
