// loopback.h: what the box's own HTTP servers have in common.
#pragma once
#include <httplib.h>

#include <string>

namespace routerbox {

// Listens on the loopback interface, answers one request per connection, several connections at a time.
class LoopbackServer : public httplib::Server {
 public:
  LoopbackServer();

  // Connections are taken from here on. Throws Failure.
  void bind(int port);
  // Serves until SIGTERM or SIGINT and then ends the process at once, although requests may hang. Call it
  // while the process has one thread. `program` begins the line that tells of a failure.
  [[noreturn]] void serve_until_signal(const std::string& program);
};

}  // namespace routerbox
