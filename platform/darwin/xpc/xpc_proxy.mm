#import <Foundation/Foundation.h>

#include <dispatch/dispatch.h>

#include <atomic>
#include <memory>
#include <utility>

#include "platform/darwin/foundation_text.h"
#include "platform/darwin/xpc/connection_setup.h"
#include "platform/darwin/xpc/requirement_on_helper.h"
#include "platform/portable/contained.h"
#include "platform/portable/xpc/unanswered_call.h"
#include "platform/xpc.h"
#import "protocol/objc/VelmoraMaintenanceHelperXPC.h"
#include "protocol/operations.h"

namespace velmora {
namespace {

using Helper = id<VelmoraMaintenanceHelperXPC>;

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
      const auto state = endConnectionAfter(budgetSeconds + answerSlackSeconds);
      // The reply block or the error handler has been called when the call returns.
      send([connection_ synchronousRemoteObjectProxyWithErrorHandler:^(NSError* error) {
             stored->errorCode = [error code];
             contained([&] { stored->text = utf8Text([error localizedDescription]); });
           }],
           stored);
      const bool isOverTime = state->exchange(Waiting::hasEnded) == Waiting::isOverTime;
      if (answer.isThere) {
        hasAnswered_ = true;
        return answer;
      }
      throw XPCConnectionError(
          "The helper gave no answer: " + answer.text.value_or("the connection ended") + ".",
          causeOf({.isInterrupted = answer.errorCode == NSXPCConnectionInterrupted,
                   .isInvalid = answer.errorCode == NSXPCConnectionInvalid,
                   .isOverTime = isOverTime},
                  hasAnswered_));
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

  enum class Waiting { forAnswer, hasEnded, isOverTime };

  // Ends the connection, and with it the wait for an answer, unless that has ended before.
  std::shared_ptr<std::atomic<Waiting>> endConnectionAfter(double seconds) {
    auto state = std::make_shared<std::atomic<Waiting>>(Waiting::forAnswer);
    NSXPCConnection* connection = connection_;
    const auto nanoseconds = static_cast<std::int64_t>(seconds * NSEC_PER_SEC);
    dispatch_after(dispatch_time(DISPATCH_TIME_NOW, nanoseconds),
                   dispatch_get_global_queue(QOS_CLASS_DEFAULT, 0), ^{
                     Waiting expected = Waiting::forAnswer;
                     if (state->compare_exchange_strong(expected, Waiting::isOverTime)) {
                       [connection invalidate];
                     }
                   });
    return state;
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
