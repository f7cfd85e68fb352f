// perm_view.h: plug-ins as people and as scripts read them.
#pragma once
#include "json.h"
#include "perm_table.h"

namespace zelctl {

// All of them, a line each.
std::string plugins_text(const Table& table);
// {"plugins": [...]}
JsonTree plugins_json(const Table& table);

// One of them, with its abilities by name.
std::string plugin_text(const Table& table, const perm_plugin_info& plugin);
// {"appid", "appname", "uid", "abilitybits", "abilities": [numbers]}
JsonTree plugin_json(const perm_plugin_info& plugin);

// The catalogue, a line each.
std::string abilities_text(const Table& table);
// {"abilities": [{"number", "name"}]}
JsonTree abilities_json(const Table& table);

}  // namespace zelctl
