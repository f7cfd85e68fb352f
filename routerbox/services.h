// services.h: the box's own servers, which must take connections before anything else runs.
#pragma once
#include <cstdint>
#include <functional>
#include <string>

#include "processes.h"

namespace routerbox {

struct Service {
  std::string name;    // with its article, for messages
  std::string place;   // where it takes connections
  std::string advice;  // what the user can do when it does not
};

// Starts it and returns when `accepts` is true. Throws Failure when that takes too long or it ends before.
pid_t start_service(Processes& processes, const Launch& launch, const Service& service,
                    const std::function<bool()>& accepts);

// Whether a server on the loopback interface takes connections at this port.
bool port_accepts(uint16_t port);

}  // namespace routerbox
