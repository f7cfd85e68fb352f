// loopback.h: what the box's own HTTP servers have in common.
#pragma once
#include <httplib.h>

#include <functional>
#include <string>

namespace routerbox {

// Listens on the loopback interface, answers one request per connection, a thousand connections at a time. What is
// below /box/ is for the box's owner only (owner.h).
class LoopbackServer : public httplib::Server {
 public:
  using Unknown = std::function<void(const httplib::Request& request, httplib::Response& response)>;

  LoopbackServer();

  // Called with status 404 for a request that no route takes.
  void set_unknown(Unknown unknown) { unknown_ = std::move(unknown); }
  // Connections are taken from here on; call it after all routes are set. Throws Failure.
  void bind(int port);
  // Serves until SIGTERM or SIGINT and then ends the process at once, although requests may hang. Call it
  // while the process has one thread. `program` begins the line that tells of a failure.
  [[noreturn]] void serve_until_signal(const std::string& program);

 private:
  void route_unknown();

  Unknown unknown_ = [](const auto&, auto&) {};
};

// What a handler throws becomes HTTP status 400 with the reason as body.
void explain_exceptions(httplib::Server* server);

}  // namespace routerbox
