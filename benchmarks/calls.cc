// calls HELPER BARE BUS EXECUTABLE…: calls on connected clients of the helper, of the bare service
// and of a bus, each at its socket, one client or 32 of them at once; a byte to another process and
// back; a connection to the helper with its first call, and the least that admitting it takes:
// every EXECUTABLE verified, one connection made.
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "benchmarks/signature_floor.h"
#include "benchmarks/subject.h"
#include "benchmarks/wire.h"

namespace velmora::bench {
namespace {

constexpr std::size_t crowd = 32;

const Method helloMethod{.destination = "org.freedesktop.DBus",
                         .path = "/org/freedesktop/DBus",
                         .interface = "org.freedesktop.DBus",
                         .member = "Hello"};

// The bus's own answer, which goes through no other process.
Method busMethod() {
  Method method = helloMethod;
  method.member = "GetId";
  return method;
}

// Clients of one service, with the call they make.
struct Clients {
  std::vector<std::unique_ptr<WireClient>> clients;
  std::string encoded;
};

Clients connected(const std::string& socket, std::size_t count, const Method& method) {
  Clients made{.clients = {}, .encoded = encodedCall(method)};
  for (std::size_t i = 0; i < count; ++i) {
    made.clients.push_back(std::make_unique<WireClient>(socket));
    if (!method.destination.empty()) made.clients.back()->call(helloMethod);
  }
  return made;
}

Subject oneByOne(const std::string& socket, const Method& method) {
  const auto one = std::make_shared<Clients>(connected(socket, 1, method));
  return timed([one] {
    one->clients.front()->send(one->encoded);
    one->clients.front()->awaitAnswer();
  });
}

// Which of them have an answer, at a cost that does not grow with their number.
FileDescriptor watched(const Clients& crowded) {
  FileDescriptor watch(::epoll_create1(EPOLL_CLOEXEC));
  for (std::size_t i = 0; i < crowded.clients.size(); ++i) {
    epoll_event event{.events = EPOLLIN, .data = {.u64 = i}};
    require(::epoll_ctl(watch.get(), EPOLL_CTL_ADD, crowded.clients[i]->descriptor(), &event) == 0,
            "epoll_ctl");
  }
  return watch;
}

// Each client calls again as soon as it has its answer; `count` calls in all.
void callFromAll(const Clients& crowded, const FileDescriptor& watch, std::size_t count) {
  std::size_t sent = 0;
  for (; sent < crowded.clients.size(); ++sent) crowded.clients[sent]->send(crowded.encoded);
  std::array<epoll_event, crowd> events;
  for (std::size_t answered = 0; answered < sent;) {
    const int ready = ::epoll_wait(watch.get(), events.data(), static_cast<int>(crowd), -1);
    require(ready > 0, "epoll_wait");
    for (std::size_t i = 0; i < static_cast<std::size_t>(ready); ++i) {
      WireClient& client = *crowded.clients[events.at(i).data.u64];
      client.awaitAnswer();
      ++answered;
      if (sent >= count) continue;
      client.send(crowded.encoded);
      ++sent;
    }
  }
}

Subject allAtOnce(const std::string& socket, const Method& method) {
  const auto all = std::make_shared<Clients>(connected(socket, crowd, method));
  const auto watch = std::make_shared<FileDescriptor>(watched(*all));
  return [all, watch](std::size_t count) {
    return secondsOf([&] { callFromAll(*all, *watch, count); });
  };
}

[[noreturn]] void echo(int socket) {
  char byte = 0;
  while (::read(socket, &byte, 1) == 1 && ::write(socket, &byte, 1) == 1) {
  }
  ::_exit(0);
}

Subject pingPong() {
  int ends[2];
  require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "socketpair");
  const pid_t child = ::fork();
  require(child >= 0, "fork");
  if (child == 0) {
    ::close(ends[0]);
    echo(ends[1]);
  }
  ::close(ends[1]);
  return timed([socket = ends[0]] {
    char byte = 1;
    require(::write(socket, &byte, 1) == 1 && ::read(socket, &byte, 1) == 1, "ping-pong");
  });
}

void admitBarely(const std::string& socket, const std::vector<std::string>& executables) {
  for (const std::string& executable : executables) verifyBarely(executable);
  connectTo(socket);
}

}  // namespace

int measureCalls(const std::vector<std::string>& words) {
  const std::string& helper = words.at(0);
  const std::string& bare = words.at(1);
  const std::string& bus = words.at(2);
  const std::vector<std::string> executables(words.begin() + 3, words.end());
  return obey({{"pingpong", pingPong()},
               {"ours", oneByOne(helper, versionMethod())},
               {"bare", oneByOne(bare, versionMethod())},
               {"bus", oneByOne(bus, busMethod())},
               {"ours32", allAtOnce(helper, versionMethod())},
               {"bus32", allAtOnce(bus, busMethod())},
               {"connect", timed([=] { WireClient(helper).call(versionMethod()); })},
               {"admit", timed([=] { admitBarely(bare, executables); })}});
}

}  // namespace velmora::bench

int main(int count, char** words) {
  return count > 4 ? velmora::bench::measureCalls({words + 1, words + count}) : 2;
}
