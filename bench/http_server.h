// An HTTP server to measure clients against.
#pragma once

#include <string>

namespace bench {

[[noreturn]] void fail(const char* what);

// Starts a server in a process of its own, which ends with this one, on a loopback port. It answers the first
// request of each connection with that body and its Content-Length; clients close. Returns the port.
int start_server(const std::string& body);

// The two processes take turns, so they lose nothing by sharing a processor; on two, the time to wake the
// other one would vary more than what is measured.
void stay_on_one_processor();

}  // namespace bench
