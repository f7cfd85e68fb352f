// patience.h: how long a server that took a request may stay silent. The library waits longer, in some calls for a
// minute, and does not tell silence from other failures.
#pragma once
#include "ending.h"

namespace zelctl {

// For one request to the router's management interface, and for one to the download daemon.
inline constexpr const char* kSilenceAdvice =
    "It hangs, or is busy: try again, or start it anew. What else is wrong: zelctl doctor";
Limit router_patience(const char* advice = kSilenceAdvice);
Limit daemon_patience(const char* advice = kSilenceAdvice);

}  // namespace zelctl
