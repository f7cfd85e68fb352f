#include "perm_view.h"

#include "abilities.h"

namespace zelctl {
namespace {

void add_plugin(const perm_table& table, const perm_plugin_slot& plugin, cJSON* json) {
  add_field(json, "appid", plugin.appid);
  add_field(json, "appname", plugin.appname);
  add_number(json, "uid", plugin.uid);
  add_number(json, "abilitybits", static_cast<int32_t>(plugin.abilitybits));  // as in the package file
  cJSON* const array = add_array(json, "abilities");
  for (int ability = 1; ability <= kAbilities; ++ability) {
    if (holds(plugin.abilitybits, ability)) append_number(array, ability);
  }
  const perm_plugin_slot& first = first_of_uid(table, plugin);
  if (&first != &plugin)
    add_field(json, "shares_uid_with", first.appid);
  else
    require_memory(cJSON_AddNullToObject(json, "shares_uid_with"));
}

}  // namespace

void show_plugins(const perm_table& table, Result* result) {
  cJSON* const array = add_array(result->json(), "plugins");
  result->row("APPID\tUID\tABILITIES\tNAME");
  each_plugin(table, [&](const perm_plugin_slot& plugin) {
    result->row("%.64s\t%u\t%s\t%.64s", plugin.appid, plugin.uid, ability_list(plugin.abilitybits).c_str(),
                plugin.appname);
    add_plugin(table, plugin, append_object(array));
  });
}

void show_plugin(const perm_table& table, const perm_plugin_slot& plugin, Result* result) {
  add_plugin(table, plugin, result->json());
  result->row("appid\t%.64s", plugin.appid);
  result->row("name\t%.64s", plugin.appname);
  result->row("uid\t%u", plugin.uid);
  result->row("abilities\t%s (0x%08X)", ability_list(plugin.abilitybits).c_str(), plugin.abilitybits);
  for (int ability = 1; ability <= kAbilities; ++ability) {
    if (holds(plugin.abilitybits, ability))
      result->row("  %d\t%s", ability, ability_name(table, ability).c_str());
  }
}

void show_abilities(const perm_table& table, Result* result) {
  cJSON* const array = add_array(result->json(), "abilities");
  result->row("ABILITY\tNAME");
  each_ability(table, [&](const perm_ability_info& ability) {
    result->row("%d\t%.64s", ability.permid, ability.permname);
    cJSON* const row = append_object(array);
    add_number(row, "number", ability.permid);
    add_field(row, "name", ability.permname);
  });
}

}  // namespace zelctl
