// bare_service SOCKET [EXECUTABLE…]: the bus library's plainest service for the version call: what
// the helper is held against. Listens at SOCKET, or, as the helper does, on the socket it is
// started with; then SOCKET is only a name. Before the first connection is served, every EXECUTABLE
// is verified; nothing else is checked.
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>
#include <utf8proc.h>

#include <cstdio>
#include <string>
#include <thread>

#include "benchmarks/signature_floor.h"
#include "benchmarks/subject.h"
#include "benchmarks/wire.h"

namespace velmora::bench {
namespace {

int onVersion(sd_bus_message* call, void* /*data*/, sd_bus_error* /*error*/) {
  return ::sd_bus_reply_method_return(call, "s", "3");
}

const sd_bus_vtable members[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("protocolVersionWithReply", "", "s", onVersion, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

// Until the client is gone, which may be at once.
void serve(int socket, const std::string& interface) {
  sd_bus* bus = nullptr;
  sd_id128_t identifier{};
  ::sd_id128_randomize(&identifier);
  ::sd_bus_new(&bus);
  ::sd_bus_set_server(bus, 1, identifier);
  ::sd_bus_set_fd(bus, socket, socket);
  ::sd_bus_add_object_vtable(bus, nullptr, "/", interface.c_str(), members, nullptr);
  int result = ::sd_bus_start(bus);
  while (result >= 0) {
    result = ::sd_bus_process(bus, nullptr);
    if (result == 0) result = ::sd_bus_wait(bus, UINT64_MAX);
  }
  ::sd_bus_close_unref(bus);
}

int listenAt(const std::string& path) {
  if (::sd_listen_fds(1) == 1) return SD_LISTEN_FDS_START;
  const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  require(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, "bind");
  require(::listen(socket, SOMAXCONN) == 0, "listen");
  return socket;
}

}  // namespace

int serveBarely(int count, char** words) {
  const int listening = listenAt(words[1]);
  const std::string interface = versionMethod().interface;
  for (bool isFirst = true;; isFirst = false) {
    const int socket = ::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC);
    require(socket >= 0, "accept");
    for (int i = 2; isFirst && i < count; ++i) verifyBarely(words[i]);
    std::thread(serve, socket, interface).detach();
  }
}

}  // namespace velmora::bench

int main(int count, char** words) {
  // Called, so that the library is loaded whatever the linker leaves out.
  if (count < 2 || utf8proc_version() == nullptr) return 2;
  try {
    return velmora::bench::serveBarely(count, words);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bare_service: %s\n", error.what());
    return 1;
  }
}
