// places.h: where the box's services take connections and what lies where in the box. A service has one name for its
// option, its folder below /var/run, its program and the lines it prints.
#pragma once
#include <cstdint>

namespace routerbox {

inline constexpr uint16_t kRouterPort = 14000;
inline constexpr uint16_t kFilesPort = 8080;
inline constexpr uint16_t kDownloadsPort = 6800;
inline constexpr uint16_t kDaemonPort = 16800;  // the aria2 behind the downloads' front
// Not the address of the router's own servers, so that a plug-in can have its ports there.
inline constexpr const char* kHostsAddress = "127.0.0.2";
inline constexpr uint16_t kHttpPort = 80;
inline constexpr uint16_t kHttpsPort = 443;
inline constexpr uint16_t kHostsFaultPort = 16801;  // not among the hosts' own paths

// The box's own folder, in which its programs find the roster and the trace.
inline constexpr const char* kBoxFolder = "/var/run/box";

// Where the bus libraries look, those since October 2020 and the older ones.
inline constexpr const char* kBusSockets[] = {"/var/run/ubus/ubus.sock", "/var/run/ubus.sock"};
inline constexpr const char* kBusRecorder = "/var/run/bus-recorder";  // there when it watches
inline constexpr const char* kBusOrders = "/var/run/bus-orders";      // to misbehave

inline constexpr const char* kPackageFile = "/etc/norva/packages.json";
inline constexpr const char* kPermissionFile = "/etc/norva/permissions.json";
inline constexpr const char* kDaemonInfo = "/tmp/norva_daemon.info";
inline constexpr const char* kDaemonScripts = "/usr/local/localshell";

inline constexpr const char* kDataFolder = "/data";
inline constexpr const char* kRouterFolder = "/var/run/router";
inline constexpr const char* kRouterState = "/var/run/router/state.json";
inline constexpr const char* kRequestLog = "/var/run/router/requests.log";
inline constexpr const char* kHostsFile = "/etc/hosts";
inline constexpr const char* kCertificates = "/etc/ssl";
inline constexpr const char* kDownloadsFolder = "/var/run/downloads";

}  // namespace routerbox
