// patience.h: how long a server that took a request may stay silent. The library waits longer, in some calls for a
// minute, and does not tell silence from other failures.
#pragma once
#include "ending.h"

namespace zelctl {

// For one request to the router's management interface, and for one to the download daemon.
Limit router_patience();
Limit daemon_patience();

}  // namespace zelctl
