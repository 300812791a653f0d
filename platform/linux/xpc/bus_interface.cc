#include "platform/linux/xpc/bus_interface.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "platform/utf8.h"

namespace velmora {
namespace {

using XPC = VelmoraMaintenanceHelperXPC;

// The bus library is C: no exception may pass through it. A call that ends without an answer
// ends its connection, so that its client is not left waiting. The answer is sent only after the
// object has returned: sending it earlier would let a client see it, and be refused, while the
// operation's lock is still held.
template <typename Serve>
int answer(void* userdata, Serve serve) noexcept {
  auto& interface = *static_cast<ExportedInterface*>(userdata);
  try {
    BusMessage reply;
    serve(interface.object(), reply);
    if (reply) {
      checkBus(::sd_bus_send(nullptr, reply.get(), nullptr));
    } else {
      // Nothing was said, so nothing may follow: the next answer would be taken for this call's.
      interface.setBroken();
    }
  } catch (...) {
    interface.setBroken();
  }
  return 1;
}

BusMessage newReplyTo(sd_bus_message* call) {
  sd_bus_message* reply = nullptr;
  checkBus(::sd_bus_message_new_method_return(call, &reply));
  return BusMessage(reply);
}

void appendText(const BusMessage& reply, const std::string& text) {
  checkBus(::sd_bus_message_append(reply.get(), "s", replacingUncarriable(text).c_str()));
}

void appendBoolean(const BusMessage& reply, bool value) {
  checkBus(::sd_bus_message_append(reply.get(), "b", static_cast<int>(value)));
}

Data readBytes(sd_bus_message* call) {
  const void* bytes = nullptr;
  std::size_t size = 0;
  const int result = ::sd_bus_message_read_array(call, 'y', &bytes, &size);
  if (result != -EOPNOTSUPP) {
    checkBus(result);
    const auto* begin = static_cast<const std::byte*>(bytes);
    return {begin, begin + size};
  }
  // The library hands out no array in a message of the other byte order, even of bytes.
  Data data;
  std::uint8_t byte = 0;
  checkBus(::sd_bus_message_enter_container(call, 'a', "y"));
  while (::sd_bus_message_read_basic(call, 'y', &byte) > 0) data.push_back(std::byte{byte});
  return data;
}

int onVersion(sd_bus_message* call, void* userdata, sd_bus_error* /*error*/) {
  return answer(userdata, [call](XPC& object, BusMessage& reply) {
    object.protocolVersionWithReply(VersionReply([&](const std::string& version) {
      reply = newReplyTo(call);
      appendText(reply, version);
    }));
  });
}

template <void (XPC::*Method)(OperationReply)>
int onOperation(sd_bus_message* call, void* userdata, sd_bus_error* /*error*/) {
  return answer(userdata, [call](XPC& object, BusMessage& reply) {
    (object.*Method)(OperationReply([&](bool ok, const std::optional<std::string>& message) {
      reply = newReplyTo(call);
      appendBoolean(reply, ok);
      appendText(reply, message.value_or(""));
    }));
  });
}

int onRemoval(sd_bus_message* call, void* userdata, sd_bus_error* /*error*/) {
  return answer(userdata, [call](XPC& object, BusMessage& reply) {
    object.removeLegacyBackgroundItems(
        readBytes(call), RemovalReply([&](bool ok, const std::optional<Data>& response,
                                          const std::optional<std::string>& message) {
          reply = newReplyTo(call);
          appendBoolean(reply, ok);
          const Data content = response.value_or(Data());
          checkBus(::sd_bus_message_append_array(reply.get(), 'y', content.data(), content.size()));
          appendText(reply, message.value_or(""));
        }));
  });
}

// Who may call is decided before a message gets here, hence "unprivileged" for the library.
constexpr auto anyone = SD_BUS_VTABLE_UNPRIVILEGED;

#define OPERATION(member)                                                                \
  SD_BUS_METHOD_WITH_ARGS(#member, SD_BUS_NO_ARGS, SD_BUS_RESULT("b", ok, "s", message), \
                          onOperation<&XPC::member>, anyone)

const sd_bus_vtable members[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS("protocolVersionWithReply", SD_BUS_NO_ARGS, SD_BUS_RESULT("s", version),
                            onVersion, anyone),
    OPERATION(flushDNSCacheWithReply),
    OPERATION(rebuildSpotlightIndexWithReply),
    OPERATION(repairUserPermissionsWithReply),
    OPERATION(thinLocalSnapshotsWithReply),
    OPERATION(freeMemoryWithReply),
    SD_BUS_METHOD_WITH_ARGS("removeLegacyBackgroundItems", SD_BUS_ARGS("ay", request),
                            SD_BUS_RESULT("b", ok, "ay", response, "s", message), onRemoval,
                            anyone),
    SD_BUS_VTABLE_END,
};

#undef OPERATION

}  // namespace

void ExportedInterface::addTo(sd_bus* bus) {
  checkBus(::sd_bus_add_object_vtable(bus, nullptr, busObjectPath, busInterface().c_str(), members,
                                      this));
}

}  // namespace velmora
