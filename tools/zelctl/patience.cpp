#include "patience.h"

namespace zelctl {
namespace {

// The library repeats what is silent for 10 s.
constexpr unsigned kSeconds = 9;

Limit patience(const char* server, const char* advice) {
  return Limit(kSeconds, advice, "%s took the request and stayed silent for %u s", server, kSeconds);
}

}  // namespace

Limit router_patience(const char* advice) {
  return patience("the router's management interface", advice);
}

Limit daemon_patience(const char* advice) {
  return patience("the download daemon", advice);
}

}  // namespace zelctl
