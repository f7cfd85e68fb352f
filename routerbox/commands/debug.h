// debug.h: a plug-in under a debugger.
#pragma once
#include <string>
#include <vector>

#include "../processes/launch.h"
#include "client.h"

namespace routerbox {

// Stops the plug-in and runs its program as it would be started, under the tool (gdb, valgrind, strace), on the
// caller's terminal; `options` are the tool's own. Then starts it again, if it ran before. For a program of another
// processor, gdb-multiarch works with qemu's stub and qemu itself traces. Returns the tool's status. Throws Failure.
int debug_plugin(const BoxClient& box, const std::string& plugin, const std::string& tool,
                 const std::vector<std::string>& options);

// How a command is run in the box, by what the verb "enter" says of a plug-in or of root; the environment is set. The
// program is looked for there, and one of another processor is qemu's.
Launch launch_for(const Json& place, const std::vector<std::string>& words);

}  // namespace routerbox
