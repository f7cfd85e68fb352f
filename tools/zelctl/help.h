// help.h: the table of commands for readers and for shells.
#pragma once
#include <string>

#include "command.h"

namespace zelctl {

// About the whole program (empty), a family ("router", "router dns") or a command ("router dns get").
void tell_help(const std::string& words);

// help and completion themselves.
extern const Family kHelpFamily;
extern const Family kCompletionFamily;

}  // namespace zelctl
