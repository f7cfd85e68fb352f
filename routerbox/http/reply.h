// reply.h: what goes out for one request, and how.
#pragma once
#include <httplib.h>

#include <chrono>
#include <limits>
#include <optional>
#include <string>

#include "../support/json.h"

namespace routerbox {

struct Reply {
  Json answer;
  std::optional<std::string> body;  // goes out in place of the answer
  std::string type = "application/json";
  int status = 200;
  std::chrono::milliseconds before{0};                    // silence before the first byte
  std::chrono::milliseconds between_bytes{0};             // of the body
  size_t cut_after = std::numeric_limits<size_t>::max();  // bytes of the body; then the connection is closed
};

void send(const Reply& reply, httplib::Response& response);

}  // namespace routerbox
