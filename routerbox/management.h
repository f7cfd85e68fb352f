// management.h: the box's management interface (router/), and the blkid that knows its partitions.
#pragma once
#include <string>

#include "processes.h"

namespace routerbox {

struct Management {
  std::string program;  // boxrouter, absolute path; empty: the box has no management interface
  std::string blkid;    // the host's, absolute path; empty: it has none
  std::string state;    // text of the state file; empty: the built-in state
  std::string log;      // absolute path; empty: kRequestLog
};

inline constexpr const char* kRouterFolder = "/var/run/router";
inline constexpr const char* kRouterState = "/var/run/router/state.json";
inline constexpr const char* kRequestLog = "/var/run/router/requests.log";

// Looks up on the host what the box needs. The files may be empty: the built-in state, a log in the box.
// Throws Failure for one that cannot be used.
Management find_management(const std::string& own_folder, const std::string& state_file,
                           const std::string& log_file);

// Starts the router and returns when its port takes connections; throws Failure when it does not. From here
// on PATH leads to the box's blkid first.
pid_t start_management(Processes& processes, const Management& management);

}  // namespace routerbox
