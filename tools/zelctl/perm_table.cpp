#include "perm_table.h"

#include <sys/sem.h>
#include <zel/util.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "abilities.h"
#include "perm_codes.h"
#include "text.h"

namespace zelctl {
namespace {

constexpr int kLockSeconds = 3;

std::vector<perm_plugin_info> plugins_of(const perm_table& table) {
  std::vector<perm_plugin_info> plugins;
  for (const perm_plugin_slot& slot : table.plugins) {
    if (slot.used != 0) std::memcpy(&plugins.emplace_back(), &slot.uid, sizeof(perm_plugin_info));
  }
  return plugins;
}

void require_filled(const perm_table& table) {
  if (!is_filled(table))
    throw Failure(kFailed, "the permission table is not initialised",
                  "On the router, run: zelctl perm init. On a PC, run zelctl inside a router box.");
}

// One step of the semaphore, with the time that is left for it.
int step(int semid, short by, const timespec* limit) {
  sembuf operation{0, by, SEM_UNDO};
  return semtimedop(semid, &operation, 1, limit);
}

// Until the time that CLOCK_MONOTONIC shows then.
timespec left_until(const timespec& end) {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  timespec left{end.tv_sec - now.tv_sec, end.tv_nsec - now.tv_nsec};
  if (left.tv_nsec < 0) left = {left.tv_sec - 1, left.tv_nsec + 1'000'000'000};
  return left.tv_sec < 0 ? timespec{} : left;
}

}  // namespace

const perm_plugin_info* Table::find(const std::string& appid) const {
  const auto found = std::find_if(plugins.begin(), plugins.end(), [&](const perm_plugin_info& plugin) {
    return qo_strcasecmp(text_of(plugin.appid).c_str(), appid.c_str()) == 0;
  });
  return found != plugins.end() ? &*found : nullptr;
}

bool is_filled(const perm_table& table) {
  return table.plugin_count != 0 || table.abilities[0].permid != 0;
}

bool is_filled_to_its_end(const Table& table) {
  return table.plugins.size() == PERM_PLUGIN_SLOTS ||
         (table.find("1") != nullptr && table.find("2") != nullptr);
}

bool is_reserved(const std::string& appid) {
  return appid == "1" || appid == "2";
}

void DetachTable::operator()(const perm_table* table) const {
  perm_common_shm_unmap(table);
}

AttachedTable attach_table() {
  const int shmid = perm_common_shm_init();
  if (shmid == -1) throw perm_failure("the permission table cannot be read", PERM_NO_SEGMENT);
  AttachedTable table(perm_common_shm_map(shmid));
  if (!table) throw perm_failure("the permission table cannot be read", PERM_NOT_ATTACHED);
  return table;
}

TableLock::TableLock(int semid) : semid_(semid) {
  timespec end{};
  clock_gettime(CLOCK_MONOTONIC, &end);
  end.tv_sec += kLockSeconds;
  int result = 0;
  do {
    const timespec left = left_until(end);
    result = step(semid, -1, &left);
  } while (result == -1 && errno == EINTR);
  if (result == 0) return;
  if (errno == EAGAIN)
    throw Failure(kTimedOut,
                  format("the permission table has been locked for %d s; process %d had its lock last",
                         kLockSeconds, semctl(semid, 0, GETPID)),
                  "Plug-ins wait for the lock, too. If that process hangs, end it: the lock is free then.");
  semid_ = -1;  // A table without a semaphore is read as it is, as the library does.
}

TableLock::~TableLock() {
  if (semid_ != -1) step(semid_, 1, nullptr);
}

Table table_of(const perm_table& shared) {
  Table table{plugins_of(shared), {}};
  for (const perm_ability_info& ability : shared.abilities) {
    if (ability.permid >= 1 && ability.permid <= kAbilities)
      table.abilities.push_back({ability.permid, text_of(ability.permname)});
    else if (ability.permid != 0)
      ++table.more_abilities;
  }
  return table;
}

Table read_table() {
  const AttachedTable shared = attach_table();
  // Before the lock: the semaphore that a table of zeros names is somebody else's.
  require_filled(*shared);
  const auto copy = std::make_unique<perm_table>();
  {
    const TableLock lock(shared->semid);
    *copy = *shared;
  }
  return table_of(*copy);
}

}  // namespace zelctl
