// The catalogue of abilities.
#include <unistd.h>
#include <zel/perm.h>
#include <zel/util.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <utility>

#include "base/handles.h"
#include "base/json.h"
#include "base/replace_file.h"
#include "perm/default_abilities.h"
#include "perm/json_file.h"

namespace {

// Texts of the catalogue and the fields they are kept in.
struct TextKey {
  const char* key;
  size_t offset;
  size_t size;
};
constexpr TextKey kTexts[] = {
    {"permname", offsetof(perm_ability_info, permname), sizeof(perm_ability_info::permname)},
    {"permlabel", offsetof(perm_ability_info, permlabel), sizeof(perm_ability_info::permlabel)},
    {"permdescription", offsetof(perm_ability_info, permdescription),
     sizeof(perm_ability_info::permdescription)},
};

bool store_ability(perm_table* table, int index, const cJSON* element) {
  const cJSON* const permid = zel::json_member(element, "permid", zel::kJsonNumber);
  const cJSON* const level = zel::json_member(element, "level", zel::kJsonNumber);
  if (permid == nullptr || level == nullptr) return false;
  perm_ability_info ability{};
  ability.permid = permid->valueint;
  ability.level = level->valueint;
  for (const TextKey& text : kTexts) {
    const cJSON* const member = zel::json_member(element, text.key, zel::kJsonString);
    if (member == nullptr) return false;
    qo_strncpy(reinterpret_cast<char*>(&ability) + text.offset, member->valuestring, text.size);
  }
  table->abilities[index] = ability;
  return true;
}

bool add_default(cJSON* array, int index) {
  const zel::DefaultAbility& ability = zel::kDefaultAbilities[index];
  cJSON* const element = cJSON_CreateObject();
  if (element == nullptr) return false;
  cJSON_AddItemToArray(array, element);
  return cJSON_AddNumberToObject(element, "permid", index + 1) != nullptr &&
         cJSON_AddNumberToObject(element, "level", zel::kDefaultAbilityLevel) != nullptr &&
         cJSON_AddStringToObject(element, "permname", ability.name) != nullptr &&
         cJSON_AddStringToObject(element, "permlabel", ability.label) != nullptr &&
         cJSON_AddStringToObject(element, "permdescription", ability.description) != nullptr;
}

zel::JsonText print_defaults() {
  const zel::JsonTree root(cJSON_CreateObject());
  cJSON* const array = cJSON_AddArrayToObject(root.get(), "ability");
  if (array == nullptr) return nullptr;
  for (int i = 0; i < PERM_ABILITY_COUNT; ++i) {
    if (!add_default(array, i)) return nullptr;
  }
  return zel::JsonText(cJSON_PrintUnformatted(root.get()));
}

// A file cut short would keep the table from being filled at this and every later boot, and the first boot is when
// the power is likely to go.
int write_missing_file() {
  zel::FileReplacement file(zel::kPermissionFile);
  if (!file) return PERM_NOT_OPENED;
  const zel::JsonText text = print_defaults();
  return text && file.finish(text.get(), strlen(text.get())) ? 0 : PERM_NO_JSON;
}

}  // namespace

int perm_common_write_permissioninfo(void) {
  if (access(zel::kPermissionFile, F_OK) != 0) return write_missing_file();
  // Kept: what is there already is emptied before anything else, and written in place.
  zel::File file = zel::open_file(zel::kPermissionFile, "wb+e");
  if (!file) return PERM_NOT_OPENED;
  const zel::JsonText text = print_defaults();
  if (!text) return PERM_NO_JSON;
  const bool written = fputs(text.get(), file.get()) >= 0 && fflush(file.get()) == 0;
  const bool closed = zel::close_written(std::move(file));
  return written && closed ? 0 : PERM_NO_JSON;
}

int perm_common_read_permission_file(perm_table* table) {
  if (table == nullptr) return PERM_BAD_ARGUMENT;
  return zel::read_elements(zel::kPermissionFile, "ability", PERM_ABILITY_SLOTS, store_ability, table);
}

int perm_common_analyze_permission(perm_table* table) {
  if (table == nullptr) return PERM_BAD_ARGUMENT;
  if (access(zel::kPermissionFile, F_OK) != 0 && perm_common_write_permissioninfo() != 0)
    return PERM_NOT_WRITTEN;
  return perm_common_read_permission_file(table) == 0 ? 0 : PERM_REJECTED;
}
