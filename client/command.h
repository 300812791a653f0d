// The commands of velmoractl.
#pragma once

#include <span>
#include <string_view>

#include "protocol/operations.h"

namespace velmora {

struct Command {
  enum class Action { showVersion, performOperation, listItems, removeItems };

  std::string_view name;
  std::string_view arguments;  // as its usage shows them
  std::string_view summary;
  std::string_view explanation;  // what more its own --help says, in whole lines
  Action action;
  const MaintenanceOperation* operation = nullptr;  // with performOperation

  bool takesItems() const { return action == Action::removeItems; }
  bool takesJSON() const { return action == Action::listItems; }
  bool takesYes() const { return action == Action::removeItems; }
};

// In the order in which --help shows them.
std::span<const Command> allCommands();

// Null when there is none of this name.
const Command* commandNamed(std::string_view name);

}  // namespace velmora
