// request_log.h: one line per request, so that a test sees what a client sent.
#pragma once
#include <mutex>
#include <string>

#include "../io.h"

namespace routerbox {

// A line has five columns with a tab between them: time (UTC), method, parameters as they came, the answer's
// code, and the kind of the fault that was played. An empty column is "-".
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

}  // namespace routerbox
