// downloads.h: the router's download daemon, an aria2 of the host with a front (aria/) before it.
#pragma once
#include <string>

#include "processes.h"

namespace routerbox {

struct Downloads {
  std::string daemon;  // aria2c, absolute path; empty: the box has no download daemon
  std::string front;   // boxaria, absolute path
  std::string folder;  // of the host, for what they keep, absolute path; empty: they keep it in the box
};

struct DownloadServers {
  pid_t daemon = 0;
  pid_t front = 0;
};

// In the box the folder /var/run/aria has for each of the two, `daemon` and `front`, a script of this name that
// starts it, NAME.pid with its process, and NAME.log. A test ends one by its process and starts it again by its
// script. Both run as root of the box: the daemon can write wherever a plug-in can, and what it writes is
// root's and readable by all.
inline constexpr const char* kDownloadsFolder = "/var/run/aria";

// Looks up on the host what the box needs; the folder may be empty. Throws Failure.
Downloads find_downloads(const std::string& own_folder, const std::string& folder);

// Starts both and returns when their ports take connections; throws Failure when one does not.
DownloadServers start_downloads(Processes& processes, const Downloads& downloads);

}  // namespace routerbox
