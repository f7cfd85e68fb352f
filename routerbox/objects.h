// objects.h: objects on the box's bus.
#pragma once
#include <chrono>
#include <string>

#include "processes.h"

namespace routerbox {

enum class ObjectWait { kFound, kOwnerEnded, kLimit };

// Waits until the bus object `name`, which the process `owner` is to make, can be found.
ObjectWait wait_for_object(Processes& processes, const std::string& name, pid_t owner,
                           std::chrono::milliseconds limit);

}  // namespace routerbox
