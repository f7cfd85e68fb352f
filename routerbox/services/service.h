// service.h: the box's own servers. Each is a row of kServices: looked up on the host, started in the box, and taking
// connections before anything that uses it runs.
#pragma once
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "../isolation/mounts.h"
#include "../processes/processes.h"
#include "../project/options.h"

namespace routerbox {

enum class End {
  kClean,   // with status 0 on SIGTERM
  kAny,     // takes its time to save what it holds, and may tell by its status that something is unfinished
  kAtOnce,  // with the box: it holds nothing that outlives it
};

// One process of a service.
struct Server {
  std::string title;  // with its article, for messages
  std::string place;  // where it takes connections
  std::function<bool()> serves;
  std::string advice;  // what the user can do when it does not
  Launch launch;
  End end = End::kClean;
};

// A service that this box has, as it was found on the host.
struct Service {
  const char* name = "";
  std::vector<std::string> paths;  // of the host, absolute, that the box must show
  // Makes the service's place in the box and tells what to start, in this order. Throws Failure.
  std::function<std::vector<Server>()> lay_out;
  std::vector<PrivateFolder> folders = {};  // that the box has of its own for it
};

// None when the options do not ask for it. Throws Failure when the host lacks what it needs.
using FindService = std::optional<Service> (*)(const Options& options, const std::string& own_folder);
std::optional<Service> find_bus(const Options& options, const std::string& own_folder);
std::optional<Service> find_router(const Options& options, const std::string& own_folder);
std::optional<Service> find_files(const Options& options, const std::string& own_folder);
std::optional<Service> find_downloads(const Options& options, const std::string& own_folder);
std::optional<Service> find_hosts(const Options& options, const std::string& own_folder);

// In the order in which they start; they stop in the opposite one.
inline constexpr FindService kServices[] = {find_bus, find_router, find_files, find_downloads, find_hosts};

// Starts the server and returns when it serves. Throws Failure when that takes too long or it ends before.
pid_t start_server(Processes& processes, const Server& server);

// A sink that prints a server's lines, each behind the name of its service.
Sink lines_of(Printer& printer, const std::string& service);

// Whether a server on the loopback interface takes connections at this port.
bool port_accepts(uint16_t port, const char* address = "127.0.0.1");
inline std::string port_place(uint16_t port) {
  return "port " + std::to_string(port);
}

}  // namespace routerbox
