// router.h: the box's servers as a test talks to them, without an HTTP library's help.
#pragma once

#include <chrono>
#include <string>

#include "base/handles.h"

namespace test {

// A connection to a server of the box, on which reads wait for 20 seconds at most.
zel::Descriptor dial(int port);

struct HttpReply {
  int status = 0;      // 0: no answer, or none that is HTTP
  std::string head;    // status line and headers
  std::string body;    // as far as it came
  bool whole = false;  // the body has its announced length
  std::chrono::milliseconds took{0};
};

// One request on a connection of its own; the target goes out as it stands. Ends with the answer's end, or
// when nothing comes for 20 seconds, with what came until then.
// `headers`: more lines, each with its \r\n.
HttpReply http(const std::string& method, const std::string& target, const std::string& body = "",
               int port = 14000, const std::string& headers = "");

// What the router answers to a method text.
HttpReply ask_router(const std::string& method);

// Adds a fault or changes the state of the box's router (JSON); a test fails when it is refused.
void set_router_fault(const std::string& fault);
void change_router_state(const std::string& patch);

// The router's request log so far.
std::string router_log();

}  // namespace test
