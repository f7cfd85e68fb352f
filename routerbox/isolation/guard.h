// guard.h: what the box's programs may not do, and what they know of their caller.
#pragma once
#include <sys/types.h>

#include <string>
#include <vector>

namespace routerbox {

// Leaves of the environment what concerns the terminal, the language and the tools that check programs, and those of
// `passed`: NAME, or NAME=VALUE to set it. Not the proxies: transfers ignore what the library cannot set.
void clean_environment(const std::vector<std::string>& passed);

// For all programs of the box from here on, root's too: no power over the machine's kernel, clock and hardware.
void drop_machine_powers();

// Settings NAME=VALUE for a program: this process's own, and the same with the user's name and folder.
std::vector<std::string> own_environment();
std::vector<std::string> environment_of(uid_t uid);

// For a program about to be executed. Both throw Failure.
void close_inherited();
// As `uid`, for good: no set-uid program and no user namespace gives it more.
void become_plugin(uid_t uid);
// A crash leaves a core, as far as the caller's limit allows.
void allow_cores();

}  // namespace routerbox
