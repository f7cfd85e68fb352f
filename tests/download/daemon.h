// daemon.h: the download daemon, played by the test inside its box, and what the calls log about it.
#ifndef TESTS_DOWNLOAD_DAEMON_H
#define TESTS_DOWNLOAD_DAEMON_H

#include <string>

#include "http/server.h"
#include "support/captured.h"

constexpr uid_t kAll = 10001;     // See packages.json: 1001, with all abilities,
constexpr uid_t kNobody = 10004;  // and one with none. Root is the plug-in "1".
constexpr char kGid[] = "2089b05ecca3d829";

// Gives the same answer again and again.
inline test::Server daemon_of(const std::string& body, test::End end = test::End::kKeep) {
  return test::Server({{body.empty() ? "" : test::answer("200 OK", body), end}}, nullptr, "6800");
}

// What the body logs, each message as "|TEXT" without its two line ends; "#" stands for line numbers.
template <class Body>
std::string logged(Body body) {
  const std::string log = captured(stderr, body);
  std::string messages;
  for (size_t at = 0, end = 0; (at = log.find("[ZEL] ", end)) != std::string::npos;) {
    end = std::min(log.find("\n\n", at), log.size());
    std::string message = log.substr(at + 6, end - at - 6);
    const size_t colon = message.find(':');
    const size_t blank = message.find(' ');
    if (colon < blank && isdigit(message[colon + 1]) != 0) message.replace(colon + 1, blank - colon - 1, "#");
    messages += "|" + message;
  }
  return messages;
}

#endif
