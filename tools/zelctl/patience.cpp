#include "patience.h"

namespace zelctl {
namespace {

// The library repeats what is silent for 10 s.
constexpr unsigned kSeconds = 9;

Limit patience(const char* server) {
  return Limit(kSeconds,
               "It hangs, or is busy: try again, or start it anew. What else is wrong: zelctl doctor",
               "%s took the request and stayed silent for %u s", server, kSeconds);
}

}  // namespace

Limit router_patience() {
  return patience("the router's management interface");
}

Limit daemon_patience() {
  return patience("the download daemon");
}

}  // namespace zelctl
