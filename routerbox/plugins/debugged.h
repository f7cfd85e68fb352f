// debugged.h: whether somebody looks into a program.
#pragma once
#include <sys/types.h>

namespace routerbox {

// Whether one of the processes that the leader of a session has started is stopped, or traced by a process of the box,
// such as gdbserver or strace. A debugger outside is noticed as long as it holds the program.
bool is_debugged(pid_t leader);

}  // namespace routerbox
