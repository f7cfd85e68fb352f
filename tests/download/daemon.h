// daemon.h: the download daemon, played by the test inside its box, and what the calls do about it.
#pragma once

#include <string>
#include <utility>

#include "support/http_server.h"

constexpr uid_t kAll = 10001;     // See packages.json: 1001, with all abilities,
constexpr uid_t kNobody = 10004;  // and one with none. Root is the plug-in "1".
constexpr char kGid[] = "2089b05ecca3d829";

// Gives the same answer again and again.
inline test::Server daemon_of(const std::string& body) {
  return test::Server({{test::answer("200 OK", body)}}, nullptr, "6800");
}

// Each message of level 3 as "|TEXT" without its tag and line end, others as "|LEVEL TEXT"; "#" stands for line
// numbers. The last transfer's seconds and attempts.
extern struct Seen {
  std::string log;
  std::pair<int, int> patience;
} seen;

template <class Body>
std::string logged(Body body) {
  seen.log.clear();
  body();
  return seen.log;
}
