// outer.h: the outer process. It enters the namespaces, stays outside as the user's handle on the box, passes signals
// on, and returns the command's status. When it dies, the kernel ends the box.
#pragma once
#include "../project/options.h"

namespace routerbox {

// Runs a box in front and returns its exit status. Throws Failure.
int run_in_front(const Options& options);

// Returns when the box runs in the background, with its name. Throws Failure when it did not start.
std::string run_in_background(const Options& options);

}  // namespace routerbox
