#include "benchmarks/wire.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "benchmarks/subject.h"
#include "protocol/build_constants.h"

namespace velmora::bench {
namespace {

constexpr std::size_t fixedHeaderBytes = 16;
constexpr char methodReturn = 2;
constexpr char error = 3;

std::size_t padded(std::size_t size) {
  return (size + 7) / 8 * 8;
}

void appendNumber(std::string& message, std::size_t value) {
  const auto number = static_cast<std::uint32_t>(value);
  message.append(reinterpret_cast<const char*>(&number), sizeof number);
}

std::uint32_t numberAt(const std::string& message, std::size_t at) {
  std::uint32_t number = 0;
  std::memcpy(&number, message.data() + at, sizeof number);
  return number;
}

void appendField(std::string& fields, char code, char type, const std::string& text) {
  fields.resize(padded(fields.size()));
  fields += {code, 1, type, 0};
  appendNumber(fields, text.size());
  fields.append(text.c_str(), text.size() + 1);
}

}  // namespace

Method versionMethod() {
  return {.destination = {},
          .path = "/",
          .interface = std::string(VendorLabelPrefix) + "VelmoraMaintenanceHelperXPC",
          .member = "protocolVersionWithReply"};
}

FileDescriptor connectTo(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  require(path.size() < sizeof address.sun_path, "the path of the socket");
  path.copy(address.sun_path, path.size());
  FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  require(::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
          "connect");
  // Whatever goes wrong, the measuring ends.
  const timeval patience{.tv_sec = 60, .tv_usec = 0};
  require(::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) == 0,
          "setsockopt");
  return socket;
}

std::string encodedCall(const Method& method) {
  std::string fields;
  appendField(fields, 1, 'o', method.path);
  appendField(fields, 2, 's', method.interface);
  appendField(fields, 3, 's', method.member);
  if (!method.destination.empty()) appendField(fields, 6, 's', method.destination);
  std::string message = {'l', 1, 0, 1};
  appendNumber(message, 0);  // the body's size
  appendNumber(message, 1);  // the call's number, which may come again once it is answered
  appendNumber(message, fields.size());
  message += fields;
  message.resize(padded(message.size()));
  return message;
}

WireClient::WireClient(const std::string& path) : socket_(connectTo(path)) {
  std::string user;
  for (const char digit : std::to_string(::geteuid())) {
    std::array<char, 3> hexadecimal{};
    std::snprintf(hexadecimal.data(), hexadecimal.size(), "%02x", static_cast<unsigned>(digit));
    user += hexadecimal.data();
  }
  send(std::string(1, '\0') + "AUTH EXTERNAL " + user + "\r\n");
  std::array<char, 256> line;
  const ssize_t size = ::recv(socket_.get(), line.data(), line.size(), 0);
  require(size > 2 && std::string_view(line.data(), 2) == "OK", "authentication");
  send("BEGIN\r\n");
}

void WireClient::call(const Method& method) {
  send(encodedCall(method));
  awaitAnswer();
}

void WireClient::send(const std::string& encoded) {
  require(::send(socket_.get(), encoded.data(), encoded.size(), MSG_NOSIGNAL) ==
              static_cast<ssize_t>(encoded.size()),
          "send");
}

// Passes over messages that are no answers: a bus sends signals as well.
void WireClient::awaitAnswer() {
  for (;;) {
    std::size_t needed = fixedHeaderBytes;
    if (received_.size() >= needed) {
      needed += padded(numberAt(received_, 12)) + numberAt(received_, 4);
    }
    if (received_.size() >= needed && needed > fixedHeaderBytes) {
      const char kind = received_[1];
      received_.erase(0, needed);
      require(kind != error, "the answer is an error");
      if (kind == methodReturn) return;
      continue;
    }
    std::array<char, 4096> piece;
    const ssize_t size = ::recv(socket_.get(), piece.data(), piece.size(), 0);
    require(size > 0, "the service has closed the connection");
    received_.append(piece.data(), static_cast<std::size_t>(size));
  }
}

}  // namespace velmora::bench
