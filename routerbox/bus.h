// bus.h: the box's broker, and objects on its bus.
#pragma once
#include <chrono>
#include <string>

#include "processes.h"

namespace routerbox {

// Starts the broker and returns when its socket takes connections. Throws Failure when it does not.
pid_t start_broker(Processes& processes, const std::string& program);

enum class ObjectWait { kFound, kOwnerEnded, kLimit };

// Waits until the bus object `name`, which the process `owner` is to make, can be found.
ObjectWait wait_for_object(Processes& processes, const std::string& name, pid_t owner,
                           std::chrono::milliseconds limit);

}  // namespace routerbox
