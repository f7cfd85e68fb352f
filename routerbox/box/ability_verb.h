// ability_verb.h: the verb that shows and changes what a plug-in may do.
#pragma once
#include "../support/json.h"
#include "box.h"

namespace routerbox {

// In the permission table in force, and with a change in the package file, as the router's own programs do it.
// `ability` is a name, with or without "ability_", or a number; where it is empty nothing is changed. Throws Failure
// with one of Status.
// {"plugin", "appid", "abilities": [{"number", "name", "held"}]}
Json change_ability(const Plan& plan, Processes& processes, const PluginRun& plugin,
                    const std::string& ability, const std::string& change);

}  // namespace routerbox
