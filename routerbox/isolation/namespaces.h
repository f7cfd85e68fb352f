// namespaces.h: leaving the host's namespaces, as root or through a user namespace.
#pragma once
#include <sys/types.h>

namespace routerbox {

// Afterwards the process is root in network and IPC namespaces of its own, and its next child is process 1
// of a new PID namespace; that one calls isolate_mounts(). Every id up to `highest_id` can be used inside.
// Throws Failure that says what the system lacks and how to get it. Call it while the process has one thread.
void enter_namespaces(uid_t highest_id);

}  // namespace routerbox
