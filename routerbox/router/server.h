// server.h: the router's management interface over HTTP, and the box's own way to it.
//
//   GET    /api?method=NAME&KEY=VALUE...  the router's methods (methods.h)
//   GET    /box/state                     the state as JSON (state.h)
//   PATCH  /box/state                     changes it by a JSON merge patch: null takes a member away
//   /box/fault                            the faults (http/fault.h, faults.h)
// What /box refuses has HTTP status 400 and the reason as body. The log has the answer's ErrorCode as code. A
// request that is none to the router's interface has its HTTP method and target as method, and "HTTP" and its
// status as code.
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

  State& state_;
  Faults& faults_;
  RequestLog& log_;
  LoopbackServer http_;
};

}  // namespace routerbox::router
