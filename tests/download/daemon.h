// daemon.h: the download daemon, played by the test inside its box, and what the calls log about it.
#ifndef TESTS_DOWNLOAD_DAEMON_H
#define TESTS_DOWNLOAD_DAEMON_H

#include <regex>
#include <string>
#include <vector>

#include "http/server.h"
#include "support/captured.h"

constexpr uid_t kAll = 10001;     // See packages.json: 1001, with all abilities,
constexpr uid_t kNobody = 10004;  // and one with none. Root is the plug-in "1".
constexpr char kGid[] = "2089b05ecca3d829";

// Gives the answers in turn, the last one again and again.
class Daemon {
 public:
  explicit Daemon(const std::vector<std::string>& bodies) : server_(answers(bodies), nullptr, "6800") {}
  explicit Daemon(test::End end) : server_({{"", end}}, nullptr, "6800") {}

  // What was posted, each behind "PATH ".
  std::vector<std::string> requests() const {
    std::vector<std::string> requests;
    for (const std::string& request : server_.requests()) {
      const std::string path = request.substr(5, request.find(" HTTP/") - 5);
      requests.push_back(path + " " + request.substr(request.find("\r\n\r\n") + 4));
    }
    return requests;
  }

 private:
  static std::vector<test::Answer> answers(const std::vector<std::string>& bodies) {
    std::vector<test::Answer> answers;
    for (const std::string& body : bodies) answers.push_back({test::answer("200 OK", body)});
    return answers;
  }

  test::Server server_;
};

// What the body logs, each message as "|TEXT" without its two line ends; "#" stands for line numbers.
template <class Body>
std::string logged(Body body) {
  std::string log = captured(stderr, body);
  for (const auto& [from, to] :
       {std::pair("\\[[^\\]]*\\] \\[ZEL\\] ", "|"), {"\n\n", ""}, {"\\|([a-z_]+):[0-9]+ ", "|$1:# "}}) {
    log = std::regex_replace(log, std::regex(from), to);
  }
  return log;
}

#endif
