// request_log.h: one line per request, so that a test sees what a client sent.
#pragma once
#include <mutex>
#include <string>

#include "../owners.h"
#include "call.h"

namespace routerbox::router {

// A line has five columns with a tab between them: time (UTC), method, parameters as they came, the answer's
// ErrorCode, and the kind of the fault that was played. An empty column is "-". A request that is none to
// the router's interface has its HTTP method and target as method, and "HTTP" and its status as code.
// The line is written before the answer goes out. Safe from any thread.
class RequestLog {
 public:
  // Appends; an empty `file` means standard output. Throws Failure when the file cannot be opened.
  explicit RequestLog(const std::string& file);

  void write(const std::string& method, const std::string& parameters, const std::string& code,
             const std::string& fault);

 private:
  Descriptor file_;
  std::mutex mutex_;  // keeps lines whole
};

}  // namespace routerbox::router
