#include "client/commands.h"

#include <cstdio>
#include <exception>
#include <string>

#include "client/archive_command.h"
#include "client/command_line.h"
#include "client/doctor_command.h"
#include "client/help_text.h"
#include "client/list_command.h"
#include "client/operation_command.h"
#include "client/remove_command.h"
#include "client/usage_error.h"
#include "platform/unreachable.h"
#include "platform/xpc.h"
#include "protocol/build_constants.h"

namespace velmora {
namespace {

ExitStatus show(const std::string& text) {
  std::fputs(text.c_str(), stdout);
  return ExitStatus::done;
}

ExitStatus showHelperVersion() {
  std::string version;
  remoteObjectProxy(HelperServiceName)
      ->protocolVersionWithReply(
          VersionReply([&](std::string answered) { version = std::move(answered); }));
  return show(version + "\n");
}

ExitStatus carryOut(const CommandLine& commandLine) {
  if (commandLine.wantsHelp) return show(helpText(commandLine.topic));
  if (commandLine.wantsVersion) {
    return show(std::string("velmoractl ") + BuildVersion + ", protocol " + ProtocolVersion + "\n");
  }
  switch (commandLine.command->action) {
    case Command::Action::showVersion:
      return showHelperVersion();
    case Command::Action::performOperation:
      return runOperationCommand(commandLine);
    case Command::Action::listItems:
      return runListCommand(commandLine.has(Command::json));
    case Command::Action::removeItems:
      return runRemoveCommand(commandLine);
    case Command::Action::listArchive:
      return runArchiveListCommand(commandLine.has(Command::json));
    case Command::Action::restoreFromArchive:
      return runArchiveRestoreCommand(commandLine);
    case Command::Action::diagnose:
      return runDoctorCommand(commandLine.has(Command::json));
    case Command::Action::showHelp:
      break;  // has become wantsHelp
  }
  unreachable();
}

ExitStatus complain(const UsageError& error) {
  const std::string complaint = error.errorDescription();
  if (!complaint.empty()) std::fprintf(stderr, "velmoractl: %s\n", complaint.c_str());
  const std::string command(error.command());
  std::fprintf(stderr, "Try 'velmoractl %s--help'.\n",
               command.empty() ? "" : (command + " ").c_str());
  return ExitStatus::wrongUsage;
}

// No answer is told apart from everything else that can go wrong, on this side of the connection.
ExitStatus report(const std::exception& error) {
  std::fprintf(stderr, "velmoractl: %s\n", localizedDescription(error).c_str());
  const bool isConnection = dynamic_cast<const XPCConnectionError*>(&error) != nullptr;
  return isConnection ? ExitStatus::noAnswer : ExitStatus::notDone;
}

}  // namespace

ExitStatus runCommand(int argumentCount, char** arguments) {
  try {
    const ExitStatus status = carryOut(parseCommandLine(argumentCount, arguments));
    if (std::fflush(stdout) == 0) return status;
    std::perror("velmoractl: standard output");
    return ExitStatus::notDone;
  } catch (const UsageError& error) {
    return complain(error);
  } catch (const std::exception& error) {
    return report(error);
  }
}

}  // namespace velmora
