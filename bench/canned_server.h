// A server that answers every request with one of its prepared texts, and a transfer by bare libcurl to have it
// with.
#pragma once

#include <zel/http.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

[[noreturn]] void fail(const char* what);

// A process of its own, which ends with this one.
class CannedServer {
 public:
  // On a loopback port; 0: any.
  explicit CannedServer(const std::vector<std::string>& bodies, uint16_t port = 0);

  const std::string& url() const { return url_; }
  int port() const { return port_; }
  // Which text the next requests get; at first the first.
  void answer_with(size_t index) const { *chosen_ = index; }

 private:
  std::string url_;
  int port_;
  volatile size_t* chosen_;  // shared with the server
};

// The two processes take turns, so they lose nothing by sharing a processor; on two, the time to wake the
// other one would vary more than what is measured.
void stay_on_one_processor();

struct Text {
  size_t length = 0;
  char bytes[ZEL_HTTP_RESULT_SIZE];
};

// With the options that the library sets. `posted` is null for a GET. Returns whether the status was 200.
bool bare_transfer(const char* url, const char* posted, long timeout_s, Text& body);

}  // namespace bench
