// server.h: what the world outside answers in the box.
//
// The Host header chooses the folder, and the path the file in it; any method gets it. A query may belong to the name:
// of "now?city=Bern", "now" and "now.json" the first that exists is sent. For a folder it is its index.html or
// index.json. A side file (side_file.h) says status and headers. What there is not gets 404 and the name of the file
// that was looked for. Faults (http/fault.h) go by the name of the host.
#pragma once
#include <string>
#include <vector>

#include "../http/body.h"
#include "../http/fault.h"
#include "../http/request_log.h"
#include "../project/project.h"

namespace routerbox::hosts {

class Outside {
 public:
  // Throws Failure for a side file that cannot be used. Faults and log must outlive it.
  Outside(std::vector<OutsideHost> hosts, Faults& faults, RequestLog& log);

  void answer(const char* scheme, const httplib::Request& request, const std::string& body,
              httplib::Response& response);

 private:
  Reply reply_of(const OutsideHost* host, const std::string& name, const httplib::Request& request,
                 const std::optional<Fault>& fault, httplib::Response& response) const;
  const OutsideHost* host_of(const httplib::Request& request) const;

  const std::vector<OutsideHost> hosts_;
  Faults& faults_;
  RequestLog& log_;
};

}  // namespace routerbox::hosts
