// bus_client.h: the box's way to its bus, through the program boxbus.
#pragma once
#include <chrono>
#include <functional>
#include <string>

#include "../plugins/plugins.h"
#include "../processes/processes.h"
#include "../support/json.h"

namespace routerbox {

enum class ObjectWait { kFound, kOwnerEnded, kLimit };

class BusClient {
 public:
  BusClient(Processes& processes, std::string program)
      : processes_(processes), program_(std::move(program)) {}

  // Waits until the bus object `name`, which the process `owner` is to make, can be found. When the limit has passed,
  // `goes_on` tells whether to wait for as long again.
  ObjectWait wait_for_object(
      const std::string& name, pid_t owner, std::chrono::milliseconds limit,
      const std::function<bool()>& goes_on = [] { return false; });
  // {"answer": TEXT or null, "status": of the call, "meaning": of the status, "ms": N}. Throws Failure. The bus itself
  // waits for 8 seconds.
  Json send(const PluginRun& plugin, const std::string& text, std::chrono::milliseconds limit);
  void send_event(int event, int subevent, const std::optional<std::string>& text);

 private:
  struct Outcome {
    int status = 0;
    std::string output;
  };
  // None when it took longer.
  std::optional<Outcome> run(const std::vector<std::string>& words, std::chrono::milliseconds limit);

  Processes& processes_;
  const std::string program_;
};

}  // namespace routerbox
