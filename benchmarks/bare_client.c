/* bare_client SOCKET: what `velmoractl version` is held against: connects, authenticates, asks for
   the version with the bus library and prints it. */
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>

int main(int count, char** words) {
  struct sockaddr_un address = {.sun_family = AF_UNIX};
  int connection = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sd_bus* bus = NULL;
  sd_bus_message* answer = NULL;
  const char* version = NULL;
  if (count != 2) return 2;
  strncpy(address.sun_path, words[1], sizeof address.sun_path - 1);
  if (connect(connection, (const struct sockaddr*)&address, sizeof address) != 0 ||
      sd_bus_new(&bus) < 0 || sd_bus_set_fd(bus, connection, connection) < 0 ||
      sd_bus_start(bus) < 0 ||
      sd_bus_call_method(bus, NULL, "/", INTERFACE, "protocolVersionWithReply", NULL, &answer,
                         "") < 0 ||
      sd_bus_message_read(answer, "s", &version) < 0) {
    return 1;
  }
  puts(version);
  return 0;
}
