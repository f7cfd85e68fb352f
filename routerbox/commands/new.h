// new.h: a project to begin with.
#pragma once
#include <string>

#include "../support/json.h"

namespace routerbox {

// Makes the folder from the templates beside routerbox: a plug-in in this language ("c" or "cpp") of the folder's name.
// {"folder", "files"}. Throws Failure; nothing is left then.
Json make_project(const std::string& folder, const std::string& language);

}  // namespace routerbox
