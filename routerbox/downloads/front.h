// front.h: stands where the router's download daemon does, in front of a stock aria2.
//
//   /box/fault      the faults (http/fault.h, faults.h); a batch has a fault's method when one of its calls has
//   /box/jsonrpc    the daemon's /jsonrpc for the box's owner, neither logged nor met by faults
//   anything else   the daemon's, passed on as it came, with the appids in answers to JSON-RPC in a POST
// Without the daemon the answer is HTTP status 502. The daemon chooses a new task's gid, and requests go to it as
// they came: a task whose creation had no answer yet when the front was killed is of no plug-in.
#pragma once
#include <shared_mutex>

#include "../http/fault.h"
#include "../http/loopback.h"
#include "../http/request_log.h"
#include "exchange.h"

namespace routerbox::downloads {

class Front {
 public:
  // The references must outlive it; `box` is the folder of the roster (trace/peers.h), empty: none. The log has the
  // methods with a comma between, the request as a JSON text, and the HTTP status as code.
  Front(int daemon_port, Appids& appids, Faults& faults, RequestLog& log, std::string box);
  LoopbackServer& http() { return http_; }

 private:
  void serve(const httplib::Request& request, const std::string& body, httplib::Response& response);
  void serve_quietly(const httplib::Request& request, const std::string& body, httplib::Response& response);
  Reply carry_out(const httplib::Request& request, const Exchange& exchange, httplib::Response* response);
  Reply ask_daemon(const httplib::Request& request, const std::string& body, httplib::Response* response);

  std::string data_folder_of(const httplib::Request& request) const;

  const int daemon_port_;
  Appids& appids_;
  Faults& faults_;
  RequestLog& log_;
  const std::string box_;
  // Held alone from a new task's request until its appid is known, so that nobody is told of it without.
  std::shared_mutex new_tasks_;
  LoopbackServer http_;
};

}  // namespace routerbox::downloads
