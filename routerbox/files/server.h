// server.h: a server to download from, with files and with misfortunes.
//
//   /files/NAME           a file of the folder
//   /bytes/N              N bytes of generated content (content.h)
//   /slow/RATE/N          the same at RATE bytes per second
//   /drop/K/N             the same, but the connection is closed after K bytes; a range that begins later than
//                         at 0 comes whole, so that a download can be resumed
//   /status/CODE          that status and a short text
//   /redirect/CODE?to=URL that status and a Location; the URL is escaped as any value in a query
//   /hang                 takes the request and stays silent
// All take GET and HEAD; what has a size takes one range.
#pragma once
#include <string>

#include "../http/loopback.h"

namespace routerbox::files {

// An empty folder: there are no files. Throws Failure for one that is none.
void route(LoopbackServer* server, const std::string& folder);

}  // namespace routerbox::files
