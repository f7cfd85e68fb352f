// management.h: the box's management interface (router/) and what goes with it (tools.h).
#pragma once
#include <string>

#include "processes.h"
#include "tools.h"

namespace routerbox {

struct Management {
  std::string program;  // boxrouter, absolute path; empty: the box has no management interface
  Tools tools;
  std::string state;  // text of the state file; empty: the built-in state
  std::string log;    // absolute path; empty: kRequestLog
};

inline constexpr const char* kRouterFolder = "/var/run/router";
inline constexpr const char* kRouterState = "/var/run/router/state.json";
inline constexpr const char* kRequestLog = "/var/run/router/requests.log";

// Looks up on the host what the box needs. The files may be empty: the built-in state, a log in the box.
// Throws Failure for one that cannot be used.
Management find_management(const std::string& own_folder, const std::string& state_file,
                           const std::string& log_file);

// Puts the tools into the box, starts the router, which writes the daemon's information file, and returns when its
// port takes connections; throws Failure when it does not.
pid_t start_management(Processes& processes, const Management& management);

}  // namespace routerbox
