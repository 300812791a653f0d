#include "client/asking.h"

#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>

#include "platform/deadline.h"
#include "platform/json.h"
#include "platform/utf8.h"
#include "platform/xpc.h"
#include "protocol/build_constants.h"
#include "protocol/operations.h"

namespace velmora {
namespace {

constexpr std::chrono::milliseconds retryInterval(250);

// A client that is not let in learns it here, before anything can have begun.
std::unique_ptr<VelmoraMaintenanceHelperXPC> connectToHelper() {
  auto helper = remoteObjectProxy(HelperServiceName);
  helper->protocolVersionWithReply(VersionReply([](const std::string& /*version*/) {}));
  return helper;
}

Answer makeCall(VelmoraMaintenanceHelperXPC& helper, const Call& call) {
  try {
    return call(helper);
  } catch (const XPCConnectionError& error) {
    if (error.cause() != XPCConnectionError::Cause::endOfConnection) throw;
    throw XPCConnectionError(
        "The helper had let this client in, and ended in the middle of the call, without an "
        "answer.");
  }
}

}  // namespace

bool Answer::isBusy() const {
  return !ok && message == OperationAlreadyRunningMessage;
}

Answer askHelper(Progress& progress, double waitSeconds, const Call& call) {
  Answer answer;
  progress.showWhile([&] {
    const Deadline deadline = Deadline::after(waitSeconds);
    for (;;) {
      const auto helper = connectToHelper();
      progress.noteAsked();
      answer = makeCall(*helper, call);
      if (!answer.isBusy() || deadline.hasPassed()) return;
      progress.noteBusy();
      std::this_thread::sleep_for(retryInterval);
    }
  });
  return answer;
}

void printOutcome(const CommandLine& commandLine, bool ok, const std::string& message,
                  double seconds, const std::vector<std::string>* removed) {
  if (!commandLine.has(Command::json)) return;
  JSONRecord members{{"ok", ok}, {"seconds", seconds}};
  if (!ok) members["message"] = replacingUncarriable(message);
  std::string json = encodeRecord(members);
  if (removed != nullptr) {
    json.insert(json.size() - 1, ",\"removed\":" + encodeStringArray(*removed));
  }
  std::printf("%s\n", json.c_str());
}

ExitStatus reportRefusal(const Answer& answer) {
  std::fprintf(stderr, "%s\n", answer.message.c_str());
  return answer.isBusy() ? ExitStatus::busy : ExitStatus::notDone;
}

}  // namespace velmora
