// server.h: a server to download from, with files and with misfortunes.
//
//   /files/NAME           a file of the folder
//   /bytes/N              N bytes of generated content (content.h)
//   /slow/RATE/N          the same at RATE bytes per second
//   /drop/K/N             the same, but the connection is closed after K bytes; a range that begins later than
//                         at 0 comes whole, so that a download can be resumed
//   /status/CODE          that status and a short text
//   /redirect/CODE?to=URL that status and a Location; the URL is escaped as any value in a query
//   /hang                 takes the request and stays silent
//   /box/fault            the faults (http/fault.h); the first word of a path is their method
// All take GET and HEAD; what has a size takes one range. The log has HTTP method and target as method, and the
// HTTP status as code.
#pragma once
#include <string>
#include <vector>

#include "../http/fault.h"
#include "../http/loopback.h"
#include "../http/request_log.h"

namespace routerbox::files {

struct Route;

// The first words of the paths, which faults go by.
std::vector<std::string> methods();

class Server {
 public:
  // An empty folder: there are no files. Throws Failure for one that is none. Faults and log must outlive it.
  Server(std::string folder, Faults& faults, RequestLog& log);

  LoopbackServer& http() { return http_; }

 private:
  void serve(const Route& route, const httplib::Request& request, httplib::Response& response);
  void log(const httplib::Request& request, Arrival arrival, int status, const std::string& fault);

  const std::string folder_;
  Faults& faults_;
  RequestLog& log_;
  LoopbackServer http_;
};

}  // namespace routerbox::files
