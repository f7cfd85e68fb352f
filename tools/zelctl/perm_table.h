// perm_table.h: the shared permission table, looked at once.
#pragma once
#include <zel/perm.h>

#include <cstring>
#include <memory>
#include <string>

#include "handles.h"

namespace zelctl {

using TableCopy = std::unique_ptr<const perm_table>;

// What is in force now. Fails, also when the table was not filled since the router started.
TableCopy read_table();

// Null if there is none.
const perm_plugin_slot* find_plugin(const perm_table& table, const char* appid);
// Fails if there is none.
const perm_plugin_slot& plugin_of(const perm_table& table, const char* appid);

// Calls visit with each plug-in, in slot order.
template <class Visit>
void each_plugin(const perm_table& table, Visit visit) {
  for (const perm_plugin_slot& slot : table.plugins) {
    if (slot.used != 0) visit(slot);
  }
}

// The same with each ability that can be granted and asked for.
template <class Visit>
void each_ability(const perm_table& table, Visit visit) {
  for (const perm_ability_info& ability : table.abilities) {
    if (ability.permid >= 1 && ability.permid <= PERM_ABILITY_COUNT) visit(ability);
  }
}

// The one of that uid that answers for all processes of the user: the first.
const perm_plugin_slot& first_of_uid(const perm_table& table, const perm_plugin_slot& plugin);

// A table of zeros is what the kernel hands out to whoever asks first.
bool is_filled(const perm_table& table);

// An init that succeeds adds the two that are the router's own, if there is room.
bool is_filled_to_its_end(const perm_table& table);

// The appids that are the router's own.
bool is_reserved(const std::string& appid);

// The segment, for a scope.
using AttachedTable = std::unique_ptr<perm_table, GivenBackBy<perm_common_shm_unmap>>;
AttachedTable attach_table();

// The table's semaphore, taken for a scope. Waits for it for some seconds only: who holds it for longer will not give
// it back, and this fails.
class TableLock {
 public:
  explicit TableLock(int semid);
  ~TableLock();
  TableLock(const TableLock&) = delete;
  TableLock& operator=(const TableLock&) = delete;
  // The semaphore was set anew meanwhile: nothing is to be given back.
  void forget() { semid_ = -1; }

 private:
  int semid_;
};

// A text of the table, which need not end within its field.
template <size_t Size>
std::string text_of(const char (&field)[Size]) {
  return {field, strnlen(field, Size)};
}

}  // namespace zelctl
