// The list of installed plug-ins.
#include <unistd.h>
#include <zel/perm.h>
#include <zel/util.h>

#include <cstdio>
#include <cstring>

#include "base/json.h"
#include "base/replace_file.h"
#include "perm/json_file.h"
#include "perm/shared_table.h"

namespace {

bool store_plugin(perm_table* table, int index, const cJSON* element) {
  const cJSON* const appname = zel::json_member(element, "appname", zel::kJsonString);
  const cJSON* const appid = zel::json_member(element, "appid", zel::kJsonString);
  const cJSON* const abilitybits = zel::json_member(element, "abilitybits", zel::kJsonNumber);
  const cJSON* const uid = zel::json_member(element, "uid", zel::kJsonNumber);
  if (appname == nullptr || appid == nullptr || abilitybits == nullptr || uid == nullptr) return false;
  perm_plugin_slot& slot = table->plugins[index];
  qo_strncpy(slot.appname, appname->valuestring, sizeof slot.appname);
  qo_strncpy(slot.appid, appid->valuestring, sizeof slot.appid);
  slot.abilitybits = zel::json_bits(abilitybits);
  slot.uid = zel::json_bits(uid);
  slot.used = 1;
  table->plugin_count = zel::count_after(*table, 1);
  return true;
}

template <size_t kSize>
bool add_text(cJSON* element, const char* key, const char (&field)[kSize]) {
  char text[kSize];
  zel::copy_text(text, field);
  return cJSON_AddStringToObject(element, key, text) != nullptr;
}

// Kept: numbers are signed in the file, so all abilities read -1. As text: printing a double is slow on a router
// without a floating-point unit, and a full table has 200 numbers.
bool add_number(cJSON* element, const char* key, uint32_t bits) {
  char text[16];
  snprintf(text, sizeof text, "%d", static_cast<int32_t>(bits));
  return cJSON_AddRawToObject(element, key, text) != nullptr;
}

bool add_plugin(cJSON* array, const perm_plugin_slot& slot) {
  cJSON* const element = cJSON_CreateObject();
  if (element == nullptr) return false;
  cJSON_AddItemToArray(array, element);
  return add_text(element, "appname", slot.appname) && add_text(element, "appid", slot.appid) &&
         add_number(element, "abilitybits", slot.abilitybits) && add_number(element, "uid", slot.uid);
}

// Null when memory runs out.
zel::JsonText print_plugins(const perm_table& table) {
  const zel::JsonTree root(cJSON_CreateObject());
  cJSON* const array = cJSON_AddArrayToObject(root.get(), "plugin");
  if (array == nullptr) return nullptr;
  int count = 0;
  for (const perm_plugin_slot& slot : table.plugins) {
    if (slot.used == 0) continue;
    if (!add_plugin(array, slot)) return nullptr;
    if (++count == table.plugin_count) break;
  }
  return zel::JsonText(cJSON_PrintUnformatted(root.get()));
}

}  // namespace

int perm_common_write_pluginfo(const perm_table* table) {
  if (table == nullptr) return PERM_BAD_ARGUMENT;
  zel::FileReplacement file(zel::kPackageFile);
  if (!file) return PERM_NOT_OPENED;
  const zel::JsonText text = print_plugins(*table);
  return text && file.finish(text.get(), strlen(text.get())) ? 0 : PERM_NO_JSON;
}

int perm_common_read_plugin_file(perm_table* table) {
  if (table == nullptr) return PERM_BAD_ARGUMENT;
  if (access(zel::kPackageFile, F_OK) != 0) return PERM_NO_PACKAGES;
  return zel::read_elements(zel::kPackageFile, "plugin", PERM_PLUGIN_SLOTS, store_plugin, table);
}

int perm_common_analyze_pluginfo(perm_table* table) {
  if (table == nullptr) return PERM_BAD_ARGUMENT;
  const int result = perm_common_read_plugin_file(table);
  return result == 0 || result == PERM_NO_PACKAGES ? 0 : PERM_REJECTED;
}
