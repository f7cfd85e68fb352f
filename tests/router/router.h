// router.h: the router's management interface, played by the test inside its box.
#pragma once

#include <string>
#include <vector>

#include "support/http_server.h"

// Gives the bodies in turn, the last one again and again; "" is a failure of the server.
class Router {
 public:
  explicit Router(const std::vector<std::string>& bodies) : server_(answers(bodies), nullptr, "14000") {}

  // What followed "method=" in the requests.
  std::vector<std::string> methods() const {
    std::vector<std::string> methods;
    for (const std::string& request : server_.requests()) {
      const std::string line = request.substr(0, request.find(" HTTP/"));
      const std::string start = "GET /api?method=";
      methods.push_back(line.starts_with(start) ? line.substr(start.size()) : "not asked so: " + line);
    }
    return methods;
  }

 private:
  static std::vector<test::Answer> answers(const std::vector<std::string>& bodies) {
    std::vector<test::Answer> answers;
    for (const std::string& body : bodies) {
      answers.push_back({test::answer(body.empty() ? "500 No" : "200 OK", body)});
    }
    return answers;
  }

  test::Server server_;
};

// An answer without error and with these members.
inline std::string good(const std::string& members) {
  return R"({"ResponseHeader":{"ErrorCode":0,"ErrorMsg":""})" + (members.empty() ? "" : "," + members) + "}";
}
