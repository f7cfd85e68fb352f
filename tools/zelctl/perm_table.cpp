#include "perm_table.h"

#include <sys/sem.h>
#include <zel/util.h>

#include <algorithm>
#include <cerrno>

#include "clock.h"
#include "failure.h"
#include "perm_codes.h"

namespace zelctl {
namespace {

constexpr int kLockSeconds = 3;

void require_filled(const perm_table& table) {
  if (!is_filled(table))
    fail(kFailed, "On the router, run: zelctl perm init. On a PC, run zelctl inside a router box.",
         "the permission table is not initialised");
}

// One step of the semaphore, as far as it can be made until that time.
int step(int semid, short by, int64_t end_ms) {
  sembuf operation{0, by, SEM_UNDO};
  return retry([&] {
    const int64_t left = std::max<int64_t>(end_ms - now_ms(), 0);
    const timespec limit{static_cast<time_t>(left / 1000), static_cast<long>(left % 1000) * 1'000'000};
    return semtimedop(semid, &operation, 1, &limit);
  });
}

}  // namespace

const perm_plugin_slot* find_plugin(const perm_table& table, const char* appid) {
  for (const perm_plugin_slot& slot : table.plugins) {
    if (slot.used != 0 && qo_strcasecmp(text_of(slot.appid).c_str(), appid) == 0) return &slot;
  }
  return nullptr;
}

const perm_plugin_slot& plugin_of(const perm_table& table, const char* appid) {
  const perm_plugin_slot* const plugin = find_plugin(table, appid);
  if (plugin == nullptr) fail_perm(PERM_UNKNOWN_APP, "%s", appid);
  return *plugin;
}

const perm_plugin_slot& first_of_uid(const perm_table& table, const perm_plugin_slot& plugin) {
  const perm_plugin_slot* slot = table.plugins;
  while (slot->used == 0 || slot->uid != plugin.uid) ++slot;
  return *slot;
}

bool is_filled(const perm_table& table) {
  return table.plugin_count != 0 || table.abilities[0].permid != 0;
}

bool is_filled_to_its_end(const perm_table& table) {
  return table.plugin_count == PERM_PLUGIN_SLOTS || (find_plugin(table, PERM_DAEMON_APPID) != nullptr &&
                                                     find_plugin(table, PERM_MANAGER_APPID) != nullptr);
}

bool is_reserved(const std::string& appid) {
  return appid == PERM_DAEMON_APPID || appid == PERM_MANAGER_APPID;
}

AttachedTable attach_table() {
  const int shmid = perm_common_shm_init();
  if (shmid == -1) fail_perm(PERM_NO_SEGMENT, "the permission table cannot be read");
  AttachedTable table(perm_common_shm_map(shmid));
  if (!table) fail_perm(PERM_NOT_ATTACHED, "the permission table cannot be read");
  return table;
}

TableLock::TableLock(int semid) : semid_(semid) {
  if (step(semid, -1, now_ms() + kLockSeconds * 1000) == 0) return;
  if (errno == EAGAIN)
    fail(kTimedOut, "Plug-ins wait for the lock, too. If that process hangs, end it: the lock is free then.",
         "the permission table has been locked for %d s; process %d had its lock last", kLockSeconds,
         semctl(semid, 0, GETPID));
  semid_ = -1;  // A table without a semaphore is read as it is, as the library does.
}

TableLock::~TableLock() {
  if (semid_ != -1) step(semid_, 1, 0);
}

TableCopy read_table() {
  const AttachedTable shared = attach_table();
  // Before the lock: the semaphore that a table of zeros names is somebody else's.
  require_filled(*shared);
  const TableLock lock(shared->semid);
  return std::make_unique<const perm_table>(*shared);
}

}  // namespace zelctl
