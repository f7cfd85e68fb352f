#include "service.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>

namespace routerbox {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kLimit(10000);
constexpr milliseconds kBetweenTries(2);

}  // namespace

Sink lines_of(Printer& printer, const std::string& service) {
  return whole_lines([&printer, service](std::string_view line) {
    printer.print(STDERR_FILENO, service + " | " + std::string(line));
  });
}

pid_t start_server(Processes& processes, const Server& server) {
  const std::string& program = server.launch.program;
  const pid_t process = processes.start(server.launch);
  const auto end = Clock::now() + kLimit;
  while (!server.serves()) {
    if (const std::optional<int> status = processes.wait(process, kBetweenTries))
      throw Failure(server.title + " " + program + " ended at once, with status " + std::to_string(*status) +
                    "; see its lines above, or " + server.advice);
    if (Clock::now() > end)
      throw Failure(server.title + " " + program + " takes no connections at " + server.place + "; " +
                    server.advice);
  }
  return process;
}

bool port_accepts(uint16_t port, const char* text) {
  const Descriptor end(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  inet_pton(AF_INET, text, &address.sin_addr);
  return connect(end.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

}  // namespace routerbox
