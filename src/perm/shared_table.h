// shared_table.h: the permission table, attached and locked for the length of a scope.
#pragma once

#include <zel/perm.h>
#include <zel/util.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <memory>

#include "base/handles.h"
#include "base/uncancelled.h"

namespace zel {

// Programs of different word size share the segment, so every place in it is fixed.
static_assert(sizeof(perm_ability_info) == 264);
static_assert(offsetof(perm_ability_info, permname) == 8 && offsetof(perm_ability_info, permlabel) == 72);
static_assert(offsetof(perm_ability_info, permdescription) == 136);
static_assert(sizeof(perm_plugin_info) == 136);
static_assert(offsetof(perm_plugin_info, appid) == 4 && offsetof(perm_plugin_info, appname) == 68);
static_assert(offsetof(perm_plugin_info, abilitybits) == 132);
static_assert(sizeof(perm_plugin_slot) == 140);
static_assert(offsetof(perm_plugin_slot, uid) == 4 && offsetof(perm_plugin_slot, appid) == 8);
static_assert(offsetof(perm_plugin_slot, appname) == 72 && offsetof(perm_plugin_slot, abilitybits) == 136);
static_assert(sizeof(perm_table) == 22456);
static_assert(offsetof(perm_table, abilities) == 8 && offsetof(perm_table, plugins) == 8456);

using AttachedTable = std::unique_ptr<perm_table, CallToEnd<perm_common_shm_unmap>>;

// Attaches the table, or says in `result` why not: 7003 or 7004.
[[nodiscard]] AttachedTable attach_table(int* result);

// Holds the table's semaphore, however often a signal interrupts the wait. If it cannot be taken (the table was
// never initialised, say), the work goes on without the lock, and what was not taken is not given: that would let
// two processes in later. A cancelled thread ends when it is done, so that table and file do not differ.
class TableSection {
 public:
  explicit TableSection(int semid) noexcept
      : semid_(semid), taken_(retry([&] { return perm_common_sem_p(semid); }) == 0) {}
  ~TableSection() {
    if (taken_) perm_common_sem_v(semid_);
  }
  TableSection(const TableSection&) = delete;
  TableSection& operator=(const TableSection&) = delete;

 private:
  const Uncancelled uncancelled_;
  int semid_;
  bool taken_;
};

// A text of the table, which another program may have filled to its last byte; `out` has the field's size.
template <std::size_t kSize>
void copy_text(char* out, const char (&field)[kSize]) noexcept {
  const std::size_t length = strnlen(field, kSize - 1);
  memcpy(out, field, length);
  out[length] = '\0';
}

inline bool has_appid(const perm_plugin_slot& slot, const char* appid) noexcept {
  return qo_strncasecmp(appid, slot.appid, sizeof slot.appid) == 0;
}

// What a walk over the used slots comes to: the slot it looked for, or that as many others as the table
// counts were passed, or neither, when the count promises more slots than there are.
struct Walk {
  const perm_plugin_slot* match = nullptr;
  bool counted_out = false;
};

template <class Matches>
[[nodiscard]] Walk find_slot(const perm_table& table, Matches matches) {
  int passed = 0;
  for (const perm_plugin_slot& slot : table.plugins) {
    if (slot.used == 0) continue;
    if (matches(slot)) return {&slot, false};
    if (++passed == table.plugin_count) return {nullptr, true};
  }
  return {};
}

// Whether a used slot has the appid, wherever it stands.
[[nodiscard]] inline bool has_plugin(const perm_table& table, const char* appid) noexcept {
  return std::any_of(std::begin(table.plugins), std::end(table.plugins),
                     [&](const perm_plugin_slot& slot) { return slot.used != 0 && has_appid(slot, appid); });
}

// The table's count after a change of `by`, whatever another program has left there: no overflow.
[[nodiscard]] inline int32_t count_after(const perm_table& table, int32_t by) noexcept {
  return static_cast<int32_t>(static_cast<uint32_t>(table.plugin_count) + static_cast<uint32_t>(by));
}

// The first free slot, or null.
[[nodiscard]] inline perm_plugin_slot* find_hole(perm_table* table) noexcept {
  perm_plugin_slot* const end = std::end(table->plugins);
  perm_plugin_slot* const hole = std::find_if(std::begin(table->plugins), end,
                                              [](const perm_plugin_slot& slot) { return slot.used == 0; });
  return hole != end ? hole : nullptr;
}

}  // namespace zel
