// Changing the table while the router runs. Each change is made and written to the package file under one hold of
// the semaphore.
#include <zel/perm.h>

#include <atomic>
#include <cstddef>
#include <cstring>

#include "perm/shared_table.h"
#include "perm/slot_store.h"

namespace {

static_assert(sizeof(perm_plugin_slot) == offsetof(perm_plugin_slot, uid) + sizeof(perm_plugin_info));

perm_plugin_slot used_slot(const perm_plugin_info& plugin) {
  perm_plugin_slot slot{};
  slot.used = 1;
  memcpy(&slot.uid, &plugin, sizeof plugin);
  return slot;
}

// Whether the file lacks a change of this process, because it could not be written.
std::atomic<bool> file_lags = false;

int write_file(const perm_table* table) {
  file_lags = perm_common_write_pluginfo(table) != 0;
  return file_lags ? PERM_NOT_WRITTEN : 0;
}

zel::Walk find_appid(const perm_table& table, const char* appid) {
  return zel::find_slot(table, [&](const perm_plugin_slot& slot) { return zel::has_appid(slot, appid); });
}

int index_of(const perm_table& table, const perm_plugin_slot* slot) {
  return static_cast<int>(slot - table.plugins);
}

int insert(perm_table* table, const perm_plugin_info& plugin) {
  if (zel::has_plugin(*table, plugin.appid)) return PERM_ALREADY_THERE;
  const perm_plugin_slot* const hole = zel::find_hole(table);
  // Kept: a full table drops the plug-in and says nothing; the file is written as if it had been stored.
  if (hole != nullptr) {
    zel::store_slot(table, index_of(*table, hole), used_slot(plugin), zel::count_after(*table, 1));
  }
  return write_file(table);
}

int remove(perm_table* table, const char* appid) {
  const zel::Walk walk = find_appid(*table, appid);
  if (walk.counted_out) return PERM_UNKNOWN_APP;
  // Kept: a walk that ends at the last slot without an answer deletes nothing, writes the file and succeeds.
  if (walk.match != nullptr) {
    zel::store_slot(table, index_of(*table, walk.match), {}, zel::count_after(*table, -1));
  }
  return write_file(table);
}

int update(perm_table* table, const perm_plugin_info& plugin) {
  const zel::Walk walk = find_appid(*table, plugin.appid);
  if (walk.counted_out) return PERM_UNKNOWN_APP;
  // Kept: a walk that ends at the last slot without an answer is no failure.
  if (walk.match == nullptr) return 0;
  if (memcmp(&walk.match->uid, &plugin, sizeof plugin) == 0) return 0;  // Flash wears; nothing to write.
  perm_plugin_slot changed = used_slot(plugin);
  changed.used = walk.match->used;
  zel::store_slot(table, index_of(*table, walk.match), changed, table->plugin_count);
  return write_file(table);
}

// Makes a change with the table attached and its semaphore held.
template <class Argument>
int change_table(int (*change)(perm_table*, Argument), Argument argument) {
  int result = 0;
  const zel::AttachedTable table = zel::attach_table(&result);
  if (!table) return result;
  const zel::TableSection section(table->semid);
  const int changed = change(table.get(), argument);
  if (!file_lags || changed == PERM_NOT_WRITTEN) return changed;
  // A change that was made before, and is repeated because it did not reach the file, has nothing to write itself.
  return write_file(table.get()) == 0 ? changed : PERM_NOT_WRITTEN;
}

}  // namespace

int perm_insert(const perm_plugin_info* plugin) {
  return plugin != nullptr ? change_table<const perm_plugin_info&>(insert, *plugin) : PERM_BAD_ARGUMENT;
}

int perm_delete(const char* appid) {
  return appid != nullptr ? change_table<const char*>(remove, appid) : PERM_BAD_ARGUMENT;
}

int perm_update(const perm_plugin_info* plugin) {
  return plugin != nullptr ? change_table<const perm_plugin_info&>(update, *plugin) : PERM_BAD_ARGUMENT;
}
