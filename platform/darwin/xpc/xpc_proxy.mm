#import <Foundation/Foundation.h>

#include <dispatch/dispatch.h>

#include <atomic>
#include <utility>

#include "platform/code_requirement_text.h"
#include "platform/code_signing.h"
#include "platform/darwin/foundation_text.h"
#include "platform/darwin/xpc/connection_setup.h"
#include "platform/portable/contained.h"
#include "platform/xpc.h"
#import "protocol/objc/VelmoraMaintenanceHelperXPC.h"
#include "protocol/operations.h"

namespace velmora {
namespace {

using Helper = id<VelmoraMaintenanceHelperXPC>;

// What the helper may take beyond a budget to stop a tool, and to get round to answering.
constexpr double slackSeconds = 30;

// Who the helper has to be: of this client's own team. Without a team no helper lets the client in.
std::string requirementOnHelper(const std::string& machServiceName) {
  const std::optional<Code> self = codeCopySelf();
  const std::optional<StaticCode> onDisk = self ? codeCopyStaticCode(*self) : std::nullopt;
  const auto information = onDisk ? codeCopySigningInformation(*onDisk) : std::nullopt;
  const std::string team = information ? information->teamIdentifier.value_or("") : "";
  const auto requirement = codeRequirementText(machServiceName, team);
  if (!requirement) {
    throw XPCConnectionError(
        "This program is not signed by a development team, so the helper would not let it in.");
  }
  return *requirement;
}

std::optional<std::string> textOrNothing(NSString* text) {
  return text == nil ? std::nullopt : std::optional(utf8Text(text));
}

std::optional<Data> dataOrNothing(NSData* data) {
  if (data == nil) return std::nullopt;
  const auto* begin = static_cast<const std::byte*>([data bytes]);
  return Data(begin, begin + [data length]);
}

// What a call ends with: written by the reply block or by the error handler, never by both.
struct Answer {
  bool isThere = false;
  bool ok = false;
  std::optional<Data> data;
  std::optional<std::string> text;  // without an answer, what went wrong
  NSInteger errorCode = 0;
};

// The blocks are Foundation's to call, and an exception must not get there; it counts as no answer.
void store(Answer* answer, BOOL ok, NSData* data, NSString* text) {
  contained([&] {
    answer->ok = ok;
    answer->data = dataOrNothing(data);
    answer->text = textOrNothing(text);
    answer->isThere = true;
  });
}

// A service that launchd does not know makes the connection invalid before anything has been
// answered; a helper that lets nobody in, or that ends, interrupts it.
XPCConnectionError::Cause causeOf(NSInteger errorCode, bool hasAnswered) {
  using Cause = XPCConnectionError::Cause;
  if (errorCode == NSXPCConnectionInterrupted) return Cause::endOfConnection;
  if (errorCode != NSXPCConnectionInvalid) return Cause::other;
  return hasAnswered ? Cause::endOfConnection : Cause::notReached;
}

class Proxy final : public VelmoraMaintenanceHelperXPC {
 public:
  Proxy(const std::string& machServiceName, const std::string& requirement)
      : connection_([[NSXPCConnection alloc] initWithMachServiceName:foundationText(machServiceName)
                                                             options:NSXPCConnectionPrivileged]) {
    [connection_ setRemoteObjectInterface:helperInterface()];
    setRequirement(connection_, requirement);
    [connection_ resume];
  }
  ~Proxy() override { [connection_ invalidate]; }

  void protocolVersionWithReply(VersionReply reply) override {
    const Answer answer = call(0, ^(Helper helper, Answer* stored) {
      [helper protocolVersionWithReply:^(NSString* version) {
        store(stored, YES, nil, version);
      }];
    });
    std::move(reply)(answer.text.value_or(""));
  }

  void flushDNSCacheWithReply(OperationReply reply) override {
    perform(DNSCacheFlush, std::move(reply), ^(Helper helper, OperationBlock block) {
      [helper flushDNSCacheWithReply:block];
    });
  }
  void rebuildSpotlightIndexWithReply(OperationReply reply) override {
    perform(SpotlightIndexRebuild, std::move(reply), ^(Helper helper, OperationBlock block) {
      [helper rebuildSpotlightIndexWithReply:block];
    });
  }
  void repairUserPermissionsWithReply(OperationReply reply) override {
    perform(UserPermissionRepair, std::move(reply), ^(Helper helper, OperationBlock block) {
      [helper repairUserPermissionsWithReply:block];
    });
  }
  void thinLocalSnapshotsWithReply(OperationReply reply) override {
    perform(SnapshotThinning, std::move(reply), ^(Helper helper, OperationBlock block) {
      [helper thinLocalSnapshotsWithReply:block];
    });
  }
  void freeMemoryWithReply(OperationReply reply) override {
    perform(MemoryPurge, std::move(reply), ^(Helper helper, OperationBlock block) {
      [helper freeMemoryWithReply:block];
    });
  }

  void removeLegacyBackgroundItems(Data request, RemovalReply reply) override {
    NSData* bytes = [NSData dataWithBytes:request.data() length:request.size()];
    Answer answer = call(RemovalBudgetSeconds, ^(Helper helper, Answer* stored) {
      [helper removeLegacyBackgroundItems:bytes
                                    reply:^(BOOL ok, NSData* response, NSString* message) {
                                      store(stored, ok, response, message);
                                    }];
    });
    std::move(reply)(answer.ok, std::move(answer.data), std::move(answer.text));
  }

 private:
  using OperationBlock = void (^)(BOOL, NSString*);

  // Has `send` make one call and returns its answer. Raises XPCConnectionError when none comes.
  Answer call(double budgetSeconds, void (^send)(Helper, Answer*)) {
    @autoreleasepool {
      Answer answer;
      Answer* const stored = &answer;
      const auto hasEnded = endConnectionAfter(budgetSeconds + slackSeconds);
      // The reply block or the error handler has been called when the call returns.
      send([connection_ synchronousRemoteObjectProxyWithErrorHandler:^(NSError* error) {
             stored->errorCode = [error code];
             contained([&] { stored->text = utf8Text([error localizedDescription]); });
           }],
           stored);
      *hasEnded = true;
      if (answer.isThere) {
        hasAnswered_ = true;
        return answer;
      }
      throw XPCConnectionError(
          "The helper gave no answer: " + answer.text.value_or("the connection ended") + ".",
          causeOf(answer.errorCode, hasAnswered_));
    }
  }

  void perform(const MaintenanceOperation& operation, OperationReply reply,
               void (^send)(Helper, OperationBlock)) {
    Answer answer = call(operation.budgetSeconds, ^(Helper helper, Answer* stored) {
      send(helper, ^(BOOL ok, NSString* message) {
        store(stored, ok, nil, message);
      });
    });
    std::move(reply)(answer.ok, std::move(answer.text));
  }

  // Ends the connection, and so the wait for its answer, unless the returned flag is set in time.
  std::shared_ptr<std::atomic<bool>> endConnectionAfter(double seconds) {
    auto hasEnded = std::make_shared<std::atomic<bool>>(false);
    NSXPCConnection* connection = connection_;
    const auto nanoseconds = static_cast<std::int64_t>(seconds * NSEC_PER_SEC);
    dispatch_after(dispatch_time(DISPATCH_TIME_NOW, nanoseconds),
                   dispatch_get_global_queue(QOS_CLASS_DEFAULT, 0), ^{
                     if (!*hasEnded) [connection invalidate];
                   });
    return hasEnded;
  }

  NSXPCConnection* const connection_;
  bool hasAnswered_ = false;
};

}  // namespace

std::unique_ptr<VelmoraMaintenanceHelperXPC> remoteObjectProxy(const std::string& machServiceName) {
  @autoreleasepool {
    return std::make_unique<Proxy>(machServiceName, requirementOnHelper(machServiceName));
  }
}

}  // namespace velmora
