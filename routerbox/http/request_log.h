// request_log.h: one line per request, so that a test sees what a client sent.
#pragma once
#include <httplib.h>

#include <chrono>
#include <mutex>
#include <string>

#include "../support/io.h"
#include "../trace/trace.h"

namespace routerbox {

// One request, as both files tell it.
struct Served {
  std::string method;
  std::string parameters;  // as they came
  std::string code;        // of the answer
  std::string fault;       // kind of the one that is played; empty: none
  Json details;            // for the trace only; null: none
  std::string to = {};     // its name in the trace; empty: the server's
};

// When a request came; what it takes is told from here.
using Arrival = std::chrono::steady_clock::time_point;
inline Arrival now() {
  return std::chrono::steady_clock::now();
}

// Writes a request into the server's own log and into the box's trace (trace/trace.h), before the answer goes out
// and before a fault delays it: what is under way can be seen.
// A line of the log has five columns with a tab between them: time (UTC), method, parameters, code and fault. An
// empty column is "-". In the trace, the time is the one that making the answer took, and the details have the
// fault.
// Safe from any thread.
class RequestLog {
 public:
  // Appends to `file`; an empty one means standard output, none no log. `box` is the folder of the trace
  // (trace/peers.h), empty: no trace. `server` is its name there. Throws Failure when a file cannot be opened.
  RequestLog(const std::optional<std::string>& file, const std::string& box, Channel channel,
             std::string server);

  void write(const httplib::Request& request, Arrival arrival, const Served& served);

 private:
  void log(const Served& served);

  Descriptor file_;
  std::mutex mutex_;  // keeps lines whole
  const std::string box_;
  const Channel channel_;
  const std::string server_;
  Trace trace_;
};

}  // namespace routerbox
