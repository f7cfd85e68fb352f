// server.h: the router's management interface over HTTP, and the box's own way to it.
//
//   GET    /api?method=NAME&KEY=VALUE...  the router's methods (methods.h)
//   GET    /box/state                     the state as JSON (state.h)
//   PATCH  /box/state                     changes it by a JSON merge patch: null takes a member away
//   POST   /box/set, /box/wan, /box/disk  change it (changes.h)
//   /box/fault                            the faults (http/fault.h, faults.h)
// A change is answered with the events that a router would send (events.h); sending them is left to the caller.
// All of /box is for root of the box only (http/owner.h). What it refuses has HTTP status 400 and the reason as body.
// The log has the answer's ErrorCode as code. A request that is none to the router's interface has its HTTP method
// and target as method, and "HTTP" and its status as code.
#pragma once
#include "../http/fault.h"
#include "../http/loopback.h"
#include "../http/request_log.h"
#include "state.h"

namespace routerbox::router {

class Server {
 public:
  // All three must outlive the server.
  Server(State& state, Faults& faults, RequestLog& log);

  LoopbackServer& http() { return http_; }

 private:
  void serve_api(const httplib::Request& request, httplib::Response& response);
  void route_api();
  void route_box();
  httplib::Server::HandlerWithContentReader handle_change(void (*change)(const Json& wanted, Json* state));

  State& state_;
  Faults& faults_;
  RequestLog& log_;
  LoopbackServer http_;
};

}  // namespace routerbox::router
