#include "client/operation_command.h"

#include <cctype>
#include <cstdio>
#include <string>

#include "client/asking.h"
#include "client/confirmation.h"
#include "platform/log_reading.h"
#include "platform/xpc.h"
#include "protocol/build_constants.h"

namespace velmora {
namespace {

std::string capitalized(std::string text) {
  text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
  return text;
}

Answer callHelper(VelmoraMaintenanceHelperXPC& helper, const MaintenanceOperation& operation) {
  Answer answer;
  (helper.*operation.method)(OperationReply([&](bool ok, const auto& message) {
    answer = {ok, message.value_or("The helper gave no reason.")};
  }));
  return answer;
}

}  // namespace

ExitStatus runOperationCommand(const CommandLine& commandLine) {
  const MaintenanceOperation& operation = *commandLine.command->operation;
  const std::string title = capitalized(operation.displayName);
  const std::string loss(commandLine.command->loss);
  if (!loss.empty() && !isAgreedTo(commandLine, loss + "\n" + title + "?")) {
    std::fputs("velmoractl: nothing was done\n", stderr);
    return ExitStatus::notDone;
  }

  Progress progress(title, operation.budgetSeconds,
                    "Its outcome will be in the log: " + logReadingCommand(HelperServiceName),
                    commandLine.has(Command::json));
  Answer answer;
  try {
    answer = askHelper(progress, commandLine.waitSeconds,
                       [&](auto& helper) { return callHelper(helper, operation); });
  } catch (const XPCConnectionError& error) {
    printOutcome(commandLine, false, error.errorDescription(), progress.elapsedSeconds(), nullptr);
    throw;
  }
  printOutcome(commandLine, answer.ok, answer.message, progress.elapsedSeconds(), nullptr);
  if (!answer.ok) return reportRefusal(answer);
  progress.conclude();
  return ExitStatus::done;
}

}  // namespace velmora
