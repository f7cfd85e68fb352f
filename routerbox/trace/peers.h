// peers.h: who is at the other end of a connection within the box.
#pragma once
#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace routerbox {

struct Plugin {
  std::string name, appid;
  uid_t uid = 0;
  std::string data = {};  // folder that it alone sees, as /data; empty: none
};

// The file roster.json of the box's folder:
//   {"started": 12.5, "plugins": [{"name": "weather", "appid": "3001", "uid": 10000,
//                                   "data": "/home/me/weather/.box/weather"}]}
struct Roster {
  double started = 0;  // the box's start, seconds of CLOCK_MONOTONIC
  std::vector<Plugin> plugins;
};

double monotonic_seconds();

// Both throw Failure. The file is replaced as a whole.
void write_roster(const std::string& folder, const Roster& roster);
Roster read_roster(const std::string& folder);

// Both ends of a TCP connection over IPv4, as numbers and dots.
struct Connection {
  std::string client, server;
  uint16_t client_port = 0, server_port = 0;
};

// Who holds the client's end; none when the client has gone already.
std::optional<uid_t> owner_of(const Connection& connection);

// The plug-in that runs as this user. Reads the roster anew, as plug-ins may have been added. Throws Failure.
std::optional<Plugin> plugin_of(uid_t uid, const std::string& folder);

// A plug-in's name; "root" for the box's own programs; "uid N" for other users; "?" when nobody is left.
// Without a roster it knows no names.
std::string name_of(std::optional<uid_t> uid, const std::string& folder);

}  // namespace routerbox
