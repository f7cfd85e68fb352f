#include "perm_view.h"

#include <cstdio>

#include "abilities.h"

namespace zelctl {
namespace {

std::string hex(uint32_t bits) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", bits);
  return text;
}

}  // namespace

std::string plugins_text(const Table& table) {
  std::vector<std::vector<std::string>> rows = {{"APPID", "UID", "ABILITIES", "NAME"}};
  for (const perm_plugin_info& plugin : table.plugins) {
    rows.push_back({readable(text_of(plugin.appid)), std::to_string(plugin.uid),
                    ability_list(plugin.abilitybits), readable(text_of(plugin.appname))});
  }
  return columns(rows);
}

JsonTree plugins_json(const Table& table) {
  JsonTree root(cJSON_CreateObject());
  cJSON* const array = cJSON_AddArrayToObject(root.get(), "plugins");
  for (const perm_plugin_info& plugin : table.plugins)
    cJSON_AddItemToArray(array, plugin_json(plugin).release());
  return root;
}

std::string plugin_text(const Table& table, const perm_plugin_info& plugin) {
  std::vector<std::vector<std::string>> rows = {
      {"appid", readable(text_of(plugin.appid))},
      {"name", readable(text_of(plugin.appname))},
      {"uid", std::to_string(plugin.uid)},
      {"abilities", ability_list(plugin.abilitybits) + " (" + hex(plugin.abilitybits) + ")"},
  };
  for (int ability = 1; ability <= kAbilities; ++ability) {
    if (holds(plugin.abilitybits, ability))
      rows.push_back({"  " + std::to_string(ability), readable(ability_name(table, ability))});
  }
  return columns(rows);
}

JsonTree plugin_json(const perm_plugin_info& plugin) {
  JsonTree root(cJSON_CreateObject());
  cJSON_AddStringToObject(root.get(), "appid", readable(text_of(plugin.appid)).c_str());
  cJSON_AddStringToObject(root.get(), "appname", readable(text_of(plugin.appname)).c_str());
  cJSON_AddNumberToObject(root.get(), "uid", plugin.uid);
  cJSON_AddNumberToObject(root.get(), "abilitybits", plugin.abilitybits);
  cJSON* const array = cJSON_AddArrayToObject(root.get(), "abilities");
  for (int ability = 1; ability <= kAbilities; ++ability) {
    if (holds(plugin.abilitybits, ability)) cJSON_AddItemToArray(array, cJSON_CreateNumber(ability));
  }
  return root;
}

}  // namespace zelctl
