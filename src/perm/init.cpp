// Building the table at boot. Runs once, before any plug-in, so the semaphore is not taken.
#include <zel/perm.h>
#include <zel/util.h>

#include <cstring>

#include "perm/shared_table.h"

namespace {

struct ReservedPlugin {
  const char* appid;
  const char* appname;
  uint32_t abilitybits;
};
constexpr ReservedPlugin kReserved[] = {
    {PERM_DAEMON_APPID, "DAEMON", 0xFFFFFFFDU},  // Kept: all but cloud communication (2).
    {PERM_MANAGER_APPID, "NPKG", 0xFFFFFFFFU},
};

void add_if_missing(perm_table* table, const ReservedPlugin& plugin) {
  if (zel::has_plugin(*table, plugin.appid)) return;
  perm_plugin_slot* const slot = zel::find_hole(table);
  if (slot == nullptr) return;
  slot->used = 1;
  table->plugin_count = zel::count_after(*table, 1);
  slot->abilitybits = plugin.abilitybits;
  slot->uid = 0;
  qo_strncpy(slot->appname, plugin.appname, sizeof slot->appname);
  qo_strncpy(slot->appid, plugin.appid, sizeof slot->appid);
}

}  // namespace

int perm_common_system_app_uid_by_appid(perm_table* table) {
  if (table == nullptr) return PERM_BAD_ARGUMENT;
  for (const ReservedPlugin& plugin : kReserved) add_if_missing(table, plugin);
  return 0;
}

int perm_init(void) {
  const int semid = perm_common_sem_init();
  if (semid == -1) return PERM_NO_SEMAPHORE;
  int result = 0;
  const zel::AttachedTable table = zel::attach_table(&result);
  if (!table) return result;

  memset(table.get(), 0, sizeof *table);
  table->semid = semid;
  if (perm_common_analyze_permission(table.get()) != 0) return PERM_PERMISSIONS;
  if (perm_common_analyze_pluginfo(table.get()) != 0) return PERM_PACKAGES;
  return perm_common_system_app_uid_by_appid(table.get()) == 0 ? 0 : PERM_NOT_RESERVED;
}
