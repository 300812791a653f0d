#include "client/commands.h"

#include <cctype>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "client/help_text.h"
#include "client/list_command.h"
#include "client/progress.h"
#include "client/remove_command.h"
#include "platform/unreachable.h"
#include "platform/xpc.h"
#include "protocol/build_constants.h"

namespace velmora {
namespace {

std::string capitalized(std::string text) {
  text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
  return text;
}

ExitStatus showVersion() {
  remoteObjectProxy(HelperServiceName)
      ->protocolVersionWithReply(
          VersionReply([](const std::string& version) { std::printf("%s\n", version.c_str()); }));
  return ExitStatus::done;
}

ExitStatus performOperation(const MaintenanceOperation& operation) {
  bool ok = false;
  std::optional<std::string> message;
  Progress progress(capitalized(operation.displayName), operation.budgetSeconds);
  progress.showWhile([&] {
    const auto helper = remoteObjectProxy(HelperServiceName);
    (*helper.*operation.method)(OperationReply([&](bool replyOk, const auto& replyMessage) {
      ok = replyOk;
      message = replyMessage;
    }));
  });
  if (ok) {
    progress.conclude();
    return ExitStatus::done;
  }
  std::fprintf(stderr, "%s\n", message.value_or("The helper gave no reason.").c_str());
  return ExitStatus::notDone;
}

ExitStatus complain(const CommandLine& commandLine) {
  if (!commandLine.complaint.empty()) {
    std::fprintf(stderr, "velmoractl: %s\n", commandLine.complaint.c_str());
  }
  const std::string name(commandLine.command == nullptr ? "" : commandLine.command->name);
  std::fprintf(stderr, "Try 'velmoractl %s--help'.\n", name.empty() ? "" : (name + " ").c_str());
  return ExitStatus::wrongUsage;
}

ExitStatus carryOut(const CommandLine& commandLine) {
  if (commandLine.isWrong) return complain(commandLine);
  if (commandLine.wantsHelp) {
    std::fputs(helpText(commandLine.command).c_str(), stdout);
    return ExitStatus::done;
  }
  switch (commandLine.command->action) {
    case Command::Action::showVersion:
      return showVersion();
    case Command::Action::performOperation:
      return performOperation(*commandLine.command->operation);
    case Command::Action::listItems:
      return runListCommand(commandLine.asJSON);
    case Command::Action::removeItems:
      return runRemoveCommand(commandLine.items, commandLine.isConfirmed);
  }
  unreachable();
}

// No answer is told apart from everything else that can go wrong, on this side of the connection.
ExitStatus report(const std::exception& error) {
  std::fprintf(stderr, "velmoractl: %s\n", localizedDescription(error).c_str());
  const bool isConnection = dynamic_cast<const XPCConnectionError*>(&error) != nullptr;
  return isConnection ? ExitStatus::noAnswer : ExitStatus::notDone;
}

}  // namespace

ExitStatus runCommand(const CommandLine& commandLine) {
  try {
    const ExitStatus status = carryOut(commandLine);
    if (std::fflush(stdout) == 0) return status;
    std::perror("velmoractl: standard output");
    return ExitStatus::notDone;
  } catch (const std::exception& error) {
    return report(error);
  }
}

}  // namespace velmora
