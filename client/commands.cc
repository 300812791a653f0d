#include "client/commands.h"

#include <cctype>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "client/progress.h"
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
  return ExitStatus::helperSaidNo;
}

ExitStatus complain(const std::string& complaint) {
  if (!complaint.empty()) std::fprintf(stderr, "velmoractl: %s\n", complaint.c_str());
  std::fputs("Try 'velmoractl --help'.\n", stderr);
  return ExitStatus::wrongUsage;
}

ExitStatus carryOut(const CommandLine& commandLine) {
  switch (commandLine.action) {
    case CommandLine::Action::showHelp:
      std::fputs(helpText().c_str(), stdout);
      return ExitStatus::done;
    case CommandLine::Action::showVersion:
      return showVersion();
    case CommandLine::Action::performOperation:
      return performOperation(*commandLine.operation);
    case CommandLine::Action::complain:
      break;
  }
  return complain(commandLine.complaint);
}

}  // namespace

ExitStatus runCommand(const CommandLine& commandLine) {
  try {
    const ExitStatus status = carryOut(commandLine);
    if (std::fflush(stdout) == 0) return status;
    std::perror("velmoractl: standard output");
    return ExitStatus::helperSaidNo;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "velmoractl: %s\n", localizedDescription(error).c_str());
    return ExitStatus::noAnswer;
  }
}

}  // namespace velmora
