// The list of installed plug-ins.
#include <unistd.h>
#include <zel/util.h>

#include "perm/json_file.h"

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
  ++table->plugin_count;
  return true;
}

}  // namespace

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
