#include "http_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace {

// One connection after the other; each is answered once and closed by the client.
[[noreturn]] void serve(int listening, const std::string& answer) {
  char request[4096];
  for (;;) {
    const int client = accept(listening, nullptr, nullptr);
    if (client < 0) bench::fail("accept");
    if (recv(client, request, sizeof request, 0) > 0) {
      send(client, answer.data(), answer.size(), MSG_NOSIGNAL);
      while (recv(client, request, sizeof request, 0) > 0) continue;
    }
    close(client);
  }
}

}  // namespace

void bench::fail(const char* what) {
  std::perror(what);
  std::exit(1);
}

int bench::start_server(const std::string& body) {
  const int listening = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (bind(listening, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(listening, 16) != 0 ||
      getsockname(listening, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    fail("server");
  }
  const pid_t child = fork();
  if (child < 0) fail("fork");
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    serve(listening, "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
                         std::to_string(body.size()) + "\r\n\r\n" + body);
  }
  close(listening);
  return ntohs(address.sin_port);
}

void bench::stay_on_one_processor() {
  cpu_set_t here;
  CPU_ZERO(&here);
  CPU_SET(static_cast<size_t>(sched_getcpu()), &here);
  if (sched_setaffinity(0, sizeof here, &here) != 0) fail("sched_setaffinity");
}
