// perm_view.h: plug-ins as people and as scripts read them.
#pragma once
#include "perm_table.h"
#include "result.h"

namespace zelctl {

// All of them, a line each. {"plugins": [...]}
void show_plugins(const perm_table& table, Result* result);

// One of them, with its abilities by name. {"appid", "appname", "uid", "abilitybits", "abilities": [numbers],
// "shares_uid_with": the appid that its processes count as, or null}
void show_plugin(const perm_table& table, const perm_plugin_slot& plugin, Result* result);

// The catalogue, a line each. {"abilities": [{"number", "name"}]}
void show_abilities(const perm_table& table, Result* result);

}  // namespace zelctl
