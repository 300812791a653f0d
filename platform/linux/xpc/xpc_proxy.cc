#include <sys/socket.h>

#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

#include "platform/file_descriptor.h"
#include "platform/linux/xpc/bus.h"
#include "platform/portable/xpc/unanswered_call.h"
#include "platform/xpc.h"
#include "protocol/operations.h"

namespace velmora {
namespace {

[[noreturn]] void refuse(int code) {
  if (code == ECONNRESET || code == EPIPE || code == ENOTCONN) {
    throw XPCConnectionError(
        "The helper closed the connection without an answer: it does not accept this client, or "
        "it has ended.",
        XPCConnectionError::Cause::endOfConnection);
  }
  if (code == ETIMEDOUT) throw XPCConnectionError("The helper did not answer in time.");
  throw XPCConnectionError(
      "The connection to the helper failed: " + std::generic_category().message(code) + ".");
}

// The result of a bus call that must not fail.
void check(int result) {
  if (result < 0) refuse(-result);
}

FileDescriptor connectTo(const std::string& path) {
  const sockaddr_un address = socketAddress(path);
  FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!socket.isOpen() ||
      ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    throw XPCConnectionError("The helper cannot be reached at " + path + ": " +
                                 std::generic_category().message(errno) + ".",
                             XPCConnectionError::Cause::notReached);
  }
  return socket;
}

std::optional<std::string> textOrNothing(const char* text) {
  return *text == '\0' ? std::nullopt : std::optional<std::string>(text);
}

class Proxy final : public VelmoraMaintenanceHelperXPC {
 public:
  explicit Proxy(FileDescriptor socket) : bus_(newBus()) {
    check(::sd_bus_set_fd(bus_.get(), socket.get(), socket.get()));
    (void)socket.release();  // the bus closes it from now on
    check(::sd_bus_start(bus_.get()));
  }

  void protocolVersionWithReply(VersionReply reply) override {
    const BusMessage answer = call(newCall("protocolVersionWithReply"), 0);
    const char* version = nullptr;
    check(::sd_bus_message_read(answer.get(), "s", &version));
    std::move(reply)(version);
  }

  void flushDNSCacheWithReply(OperationReply reply) override {
    perform("flushDNSCacheWithReply", DNSCacheFlush, std::move(reply));
  }
  void rebuildSpotlightIndexWithReply(OperationReply reply) override {
    perform("rebuildSpotlightIndexWithReply", SpotlightIndexRebuild, std::move(reply));
  }
  void repairUserPermissionsWithReply(OperationReply reply) override {
    perform("repairUserPermissionsWithReply", UserPermissionRepair, std::move(reply));
  }
  void thinLocalSnapshotsWithReply(OperationReply reply) override {
    perform("thinLocalSnapshotsWithReply", SnapshotThinning, std::move(reply));
  }
  void freeMemoryWithReply(OperationReply reply) override {
    perform("freeMemoryWithReply", MemoryPurge, std::move(reply));
  }

  void removeLegacyBackgroundItems(Data request, RemovalReply reply) override {
    BusMessage message = newCall("removeLegacyBackgroundItems");
    check(::sd_bus_message_append_array(message.get(), 'y', request.data(), request.size()));
    const BusMessage answer = call(std::move(message), RemovalBudgetSeconds);
    int ok = 0;
    const void* bytes = nullptr;
    std::size_t size = 0;
    const char* text = nullptr;
    check(::sd_bus_message_read(answer.get(), "b", &ok));
    check(::sd_bus_message_read_array(answer.get(), 'y', &bytes, &size));
    check(::sd_bus_message_read(answer.get(), "s", &text));
    const auto* begin = static_cast<const std::byte*>(bytes);
    std::move(reply)(ok != 0, ok != 0 ? std::optional<Data>({begin, begin + size}) : std::nullopt,
                     textOrNothing(text));
  }

 private:
  BusMessage newCall(const char* member) {
    sd_bus_message* message = nullptr;
    check(::sd_bus_message_new_method_call(bus_.get(), &message, nullptr, busObjectPath,
                                           busInterface().c_str(), member));
    return BusMessage(message);
  }

  BusMessage call(BusMessage message, double budgetSeconds) {
    // Without a limit of its own the library gives up after 25 seconds.
    const auto limit = static_cast<std::uint64_t>((budgetSeconds + answerSlackSeconds) * 1e6);
    sd_bus_message* answer = nullptr;
    check(::sd_bus_call(bus_.get(), message.get(), limit, nullptr, &answer));
    return BusMessage(answer);
  }

  void perform(const char* member, const MaintenanceOperation& operation, OperationReply reply) {
    const BusMessage answer = call(newCall(member), operation.budgetSeconds);
    int ok = 0;
    const char* text = nullptr;
    check(::sd_bus_message_read(answer.get(), "bs", &ok, &text));
    std::move(reply)(ok != 0, textOrNothing(text));
  }

  Bus bus_;
};

}  // namespace

std::unique_ptr<VelmoraMaintenanceHelperXPC> remoteObjectProxy(const std::string& machServiceName) {
  return std::make_unique<Proxy>(connectTo(busSocketPath(machServiceName)));
}

}  // namespace velmora
