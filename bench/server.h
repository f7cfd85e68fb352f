// A server that gives one and the same answer to every request, in a process beside the measuring one.
#pragma once

#include <cstdint>
#include <string>

namespace server {

// Starts it on the loopback interface, on any free port if `port` is 0; it ends with this process, and gives up
// the program if it cannot start. Returns its address, "http://127.0.0.1:PORT". It answers 200 with that body,
// one connection after the other, and keeps a connection until the client closes it.
std::string start(const std::string& body, uint16_t port = 0);

// Keeps this process, and those it starts from then on, on one processor. Client and server take turns, so
// they lose nothing by it; on two, the time to wake the other one would vary more than what is measured.
void share_processor();

}  // namespace server
