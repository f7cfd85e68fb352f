// tools.h: programs that a router has and a PC has not, or in another form.
#pragma once
#include <string>

namespace routerbox {

// The host's, absolute paths; empty: it has none.
struct Tools {
  std::string blkid;
  std::string busybox;
};

Tools find_tools();

// Puts into the box, whose router is `boxrouter` with the state in `state`:
//   folder/bin                                  a blkid that knows the router's partitions; first on PATH now
//   folder/busybox                              ps, df, mount and free as busybox has them; not on PATH
//   /usr/local/localshell/norva_daemon_shell    the daemon's script
// Throws Failure.
void put_tools(const Tools& tools, const std::string& boxrouter, const std::string& state,
               const std::string& folder);

}  // namespace routerbox
