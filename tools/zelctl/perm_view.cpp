#include "perm_view.h"

#include "abilities.h"
#include "text.h"

namespace zelctl {

std::string plugins_text(const Table& table) {
  std::vector<std::vector<std::string>> rows = {{"APPID", "UID", "ABILITIES", "NAME"}};
  for (const perm_plugin_info& plugin : table.plugins) {
    rows.push_back({readable(text_of(plugin.appid)), std::to_string(plugin.uid),
                    ability_list(plugin.abilitybits), readable(text_of(plugin.appname))});
  }
  return columns(rows);
}

JsonTree plugins_json(const Table& table) {
  JsonTree root = json_object();
  cJSON* const array = add_array(root.get(), "plugins");
  for (const perm_plugin_info& plugin : table.plugins) append(array, plugin_json(plugin));
  return root;
}

std::string plugin_text(const Table& table, const perm_plugin_info& plugin) {
  std::vector<std::vector<std::string>> rows = {
      {"appid", readable(text_of(plugin.appid))},
      {"name", readable(text_of(plugin.appname))},
      {"uid", std::to_string(plugin.uid)},
      {"abilities", ability_list(plugin.abilitybits) + format(" (0x%08X)", plugin.abilitybits)},
  };
  for (int ability = 1; ability <= kAbilities; ++ability) {
    if (holds(plugin.abilitybits, ability))
      rows.push_back({"  " + std::to_string(ability), readable(ability_name(table, ability))});
  }
  return columns(rows);
}

JsonTree plugin_json(const perm_plugin_info& plugin) {
  JsonTree root = json_object();
  add(root.get(), "appid", readable(text_of(plugin.appid)));
  add(root.get(), "appname", readable(text_of(plugin.appname)));
  add(root.get(), "uid", plugin.uid);
  add(root.get(), "abilitybits", static_cast<int32_t>(plugin.abilitybits));  // as in the package file
  cJSON* const array = add_array(root.get(), "abilities");
  for (int ability = 1; ability <= kAbilities; ++ability) {
    if (holds(plugin.abilitybits, ability)) append(array, ability);
  }
  return root;
}

std::string abilities_text(const Table& table) {
  std::vector<std::vector<std::string>> rows = {{"ABILITY", "NAME"}};
  for (const Ability& ability : table.abilities)
    rows.push_back({std::to_string(ability.number), readable(ability.name)});
  return columns(rows);
}

JsonTree abilities_json(const Table& table) {
  JsonTree root = json_object();
  cJSON* const array = add_array(root.get(), "abilities");
  for (const Ability& ability : table.abilities) {
    JsonTree element = json_object();
    add(element.get(), "number", ability.number);
    add(element.get(), "name", readable(ability.name));
    append(array, std::move(element));
  }
  return root;
}

}  // namespace zelctl
