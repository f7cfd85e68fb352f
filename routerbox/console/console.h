// console.h: a page for the browser that shows a box and has its verbs.
//
//   GET  /             the page, and what it consists of (page.h): the same for everybody
//   POST /api/VERB     passed to the box's control socket as it is (box/control.h); 503 when no box answers there
//   GET  /api/verbs    likewise
//   GET  /api/trace    server-sent events (stream.h): the trace from not long ago on, live, and whether there is a box
//
// Everything below /api/ wants the header "Authorization: Bearer TOKEN". The token is made anew for each console, and
// is in the fragment of the address that is printed: browsers never send that. The server takes connections on the
// loopback interface only, and answers a request for another host, or one that another site's page has sent, with
// HTTP status 403 alone: a name of somebody else may lead to 127.0.0.1.
#pragma once
#include <string>

namespace routerbox {

struct ConsoleWish {
  std::string box;
  int port = 0;                                         // 0: any that is free
  void (*print)(const std::string& address) = nullptr;  // called when the server takes connections
};

// Serves until SIGTERM or SIGINT and ends the process; boxes of this name may come and go meanwhile. Call it while the
// process has one thread. Throws Failure.
[[noreturn]] void serve_console(const ConsoleWish& wish);

// In a process of its own that ends with this one and prints the address to standard error. Throws Failure.
void start_console(const std::string& box, int port);

}  // namespace routerbox
