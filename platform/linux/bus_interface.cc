#include "platform/linux/bus_interface.h"

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "platform/text.h"

namespace velmora {
namespace {

using XPC = VelmoraMaintenanceHelperXPC;

// The bus library is C: no exception may pass through it. A call that ends without an answer
// ends its connection, so that its client is not left waiting.
template <typename Serve>
int answer(void* userdata, Serve serve) noexcept {
  auto& interface = *static_cast<ExportedInterface*>(userdata);
  try {
    bool answered = false;
    serve(interface.object(), answered);
    if (!answered) interface.setBroken();
  } catch (...) {
    interface.setBroken();
  }
  return 1;
}

// Text on its way to the bus: absent is empty there.
std::string carriable(const std::optional<std::string>& text) {
  return replacingUncarriable(text.value_or(""));
}

int onVersion(sd_bus_message* call, void* userdata, sd_bus_error* /*error*/) {
  return answer(userdata, [call](XPC& object, bool& answered) {
    object.protocolVersionWithReply(VersionReply([&](const std::string& version) {
      checkBus(::sd_bus_reply_method_return(call, "s", replacingUncarriable(version).c_str()));
      answered = true;
    }));
  });
}

template <void (XPC::*Method)(OperationReply)>
int onOperation(sd_bus_message* call, void* userdata, sd_bus_error* /*error*/) {
  return answer(userdata, [call](XPC& object, bool& answered) {
    (object.*Method)(OperationReply([&](bool ok, const std::optional<std::string>& message) {
      checkBus(::sd_bus_reply_method_return(call, "bs", static_cast<int>(ok),
                                            carriable(message).c_str()));
      answered = true;
    }));
  });
}

void replyToRemoval(sd_bus_message* call, bool ok, const Data& response, const char* message) {
  sd_bus_message* reply = nullptr;
  checkBus(::sd_bus_message_new_method_return(call, &reply));
  const BusMessage owner(reply);
  checkBus(::sd_bus_message_append(reply, "b", static_cast<int>(ok)));
  checkBus(::sd_bus_message_append_array(reply, 'y', response.data(), response.size()));
  checkBus(::sd_bus_message_append(reply, "s", message));
  checkBus(::sd_bus_send(nullptr, reply, nullptr));
}

int onRemoval(sd_bus_message* call, void* userdata, sd_bus_error* /*error*/) {
  return answer(userdata, [call](XPC& object, bool& answered) {
    const void* bytes = nullptr;
    std::size_t size = 0;
    checkBus(::sd_bus_message_read_array(call, 'y', &bytes, &size));
    const auto* begin = static_cast<const std::byte*>(bytes);
    object.removeLegacyBackgroundItems(
        Data(begin, begin + size), RemovalReply([&](bool ok, const std::optional<Data>& response,
                                                    const std::optional<std::string>& message) {
          replyToRemoval(call, ok, response.value_or(Data()), carriable(message).c_str());
          answered = true;
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
