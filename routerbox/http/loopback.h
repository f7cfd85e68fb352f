// loopback.h: what the box's own HTTP servers have in common.
#pragma once
#include <httplib.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <utility>

#include "body.h"

namespace routerbox {

inline constexpr const char* kLoopback = "127.0.0.1";

// A server on the loopback interface: answers one request per connection, a thousand connections at a time.
template <class Base>
class Loopback : public Base {
 public:
  template <class... Arguments>
  explicit Loopback(Arguments&&... arguments);

  // Connections are taken from here on; call it after all routes are set. Throws Failure.
  void bind(int port, const char* address = kLoopback);
};

// One of the router's own. What a handler throws becomes HTTP status 400 with the reason as body.
class LoopbackServer : public Loopback<httplib::Server> {
 public:
  using Unknown = std::function<void(const httplib::Request& request, httplib::Response& response)>;

  LoopbackServer();

  // Called with status 404 for a request that no route takes.
  void set_unknown(Unknown unknown) { unknown_ = std::move(unknown); }
  void bind(int port, const char* address = kLoopback);

 private:
  Unknown unknown_ = [](const auto&, auto&) {};
};

// The handler gets what no earlier route takes, whatever its method and path; GET and OPTIONS without a body.
void route_all(httplib::Server* server, const BodyHandler& handler);

// Serves until SIGTERM or SIGINT and then ends the process at once, although requests may hang. Call it
// while the process has one thread. `program` begins the line that tells of a failure.
[[noreturn]] void serve_until_signal(const std::string& program,
                                     std::initializer_list<httplib::Server*> servers);

// The parts of Loopback that are the same for all.
void set_up(httplib::Server* server);
void bind_or_throw(httplib::Server* server, const char* address, int port);
void let_many_wait(int socket);

template <class Base>
template <class... Arguments>
Loopback<Base>::Loopback(Arguments&&... arguments) : Base(std::forward<Arguments>(arguments)...) {
  set_up(this);
}

template <class Base>
void Loopback<Base>::bind(int port, const char* address) {
  bind_or_throw(this, address, port);
  let_many_wait(this->svr_sock_);
}

}  // namespace routerbox
