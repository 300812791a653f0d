#include "platform/darwin/xpc/exported_object.h"

#include <cstddef>
#include <utility>

#include "platform/darwin/foundation_text.h"
#include "platform/portable/contained.h"

namespace velmora {
namespace {

using XPC = VelmoraMaintenanceHelperXPC;
using OperationBlock = void (^)(BOOL, NSString*);

NSString* textOrNil(const std::optional<std::string>& text) {
  return text ? foundationText(*text) : nil;
}

NSData* dataOrNil(const std::optional<Data>& data) {
  return data ? [NSData dataWithBytes:data->data() length:data->size()] : nil;
}

Data dataOf(NSData* data) {
  const auto* begin = static_cast<const std::byte*>([data bytes]);
  return {begin, begin + [data length]};
}

// Serves one call, on the connection's queue. `serve` sets its argument once the reply block has
// been called. A client may leave the block out: nothing is done for it then.
template <typename Serve>
void answer(bool canAnswer, Serve serve) {
  @autoreleasepool {
    bool isAnswered = false;
    contained([&] {
      if (canAnswer) serve(isAnswered);
    });
    if (!isAnswered) [[NSXPCConnection currentConnection] invalidate];
  }
}

void answerOperation(XPC& object, void (XPC::*method)(OperationReply), OperationBlock block) {
  answer(block != nil, [&](bool& isAnswered) {
    (object.*method)(OperationReply([&](bool ok, const std::optional<std::string>& message) {
      block(ok ? YES : NO, textOrNil(message));
      isAnswered = true;
    }));
  });
}

}  // namespace
}  // namespace velmora

@implementation VelmoraExportedObject

- (instancetype)initWithObject:(std::unique_ptr<velmora::VelmoraMaintenanceHelperXPC>)object {
  self = [super init];
  if (self != nil) _object = std::move(object);
  return self;
}

- (void)protocolVersionWithReply:(void (^)(NSString*))reply {
  velmora::answer(reply != nil, [&](bool& isAnswered) {
    _object->protocolVersionWithReply(velmora::VersionReply([&](const std::string& version) {
      reply(velmora::foundationText(version));
      isAnswered = true;
    }));
  });
}

- (void)flushDNSCacheWithReply:(void (^)(BOOL, NSString*))reply {
  velmora::answerOperation(*_object, &velmora::XPC::flushDNSCacheWithReply, reply);
}

- (void)rebuildSpotlightIndexWithReply:(void (^)(BOOL, NSString*))reply {
  velmora::answerOperation(*_object, &velmora::XPC::rebuildSpotlightIndexWithReply, reply);
}

- (void)repairUserPermissionsWithReply:(void (^)(BOOL, NSString*))reply {
  velmora::answerOperation(*_object, &velmora::XPC::repairUserPermissionsWithReply, reply);
}

- (void)thinLocalSnapshotsWithReply:(void (^)(BOOL, NSString*))reply {
  velmora::answerOperation(*_object, &velmora::XPC::thinLocalSnapshotsWithReply, reply);
}

- (void)freeMemoryWithReply:(void (^)(BOOL, NSString*))reply {
  velmora::answerOperation(*_object, &velmora::XPC::freeMemoryWithReply, reply);
}

- (void)removeLegacyBackgroundItems:(NSData*)request
                              reply:(void (^)(BOOL, NSData*, NSString*))reply {
  velmora::answer(reply != nil, [&](bool& isAnswered) {
    _object->removeLegacyBackgroundItems(
        velmora::dataOf(request),
        velmora::RemovalReply([&](bool ok, const std::optional<velmora::Data>& response,
                                  const std::optional<std::string>& message) {
          reply(ok ? YES : NO, velmora::dataOrNil(response), velmora::textOrNil(message));
          isAnswered = true;
        }));
  });
}

@end
