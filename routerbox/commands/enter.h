// enter.h: a command of the caller's own in a running box.
#pragma once
#include "../processes/launch.h"

namespace routerbox {

// Runs it among the box's processes, with the caller's standard streams; returns its status as a shell tells it. Call
// it while the process has one thread.
int run_in_box(pid_t process_one, const Launch& launch);

}  // namespace routerbox
