// groups.h: the groups of commands. Each has a file of its own and is added in main.cpp.
#pragma once
#include <CLI/App.hpp>

#include "report.h"

namespace zelctl {

// The session is read when a command runs, and must live as long as the application.
void add_perm_group(CLI::App& app, const Session& session);

}  // namespace zelctl
