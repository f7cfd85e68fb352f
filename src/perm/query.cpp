// The two questions every guarded call asks first.
#include <unistd.h>
#include <zel/perm.h>

#include <cctype>
#include <cstring>

#include "base/log.h"
#include "perm/shared_table.h"

namespace {

static_assert(ability_control_plug == PERM_ABILITY_COUNT);

bool all_digits(const char* text) {
  for (; *text != '\0'; ++text) {
    if (isdigit(static_cast<unsigned char>(*text)) == 0) return false;
  }
  return true;
}

// Of an empty table no slot is looked at.
template <class Matches>
zel::Walk look_up(const perm_table& table, Matches matches) {
  if (table.plugin_count == 0) return {nullptr, true};
  return zel::find_slot(table, matches);
}

int find_id(const perm_table& table, char* appid) {
  const uid_t uid = getuid();
  const zel::Walk walk = look_up(table, [&](const perm_plugin_slot& slot) { return slot.uid == uid; });
  if (walk.counted_out) return PERM_UNKNOWN_APP;
  // Kept: a walk that ends at the last slot without an answer is no failure, and leaves the buffer as it was.
  if (walk.match != nullptr) zel::copy_text(appid, walk.match->appid);
  return 0;
}

int find_grant(const perm_table& table, uint32_t ability, const char* appid) {
  // Digits have no case, so the plain comparison, faster over a full table, tells the same.
  const zel::Walk walk = look_up(table, [&](const perm_plugin_slot& slot) {
    return strncmp(appid, slot.appid, sizeof slot.appid) == 0;
  });
  if (walk.match == nullptr) return PERM_UNKNOWN_APP;
  const bool granted = ((walk.match->abilitybits >> (ability - 1)) & 1U) != 0;
  return granted ? 0 : PERM_NOT_GRANTED;
}

// What `ask` finds in the table, or why that is not there.
template <class Question>
int ask_table(Question ask) {
  int result = 0;
  const zel::AttachedTable table = zel::attach_table(&result);
  if (!table) return result;
  const zel::TableSection section(table->semid);
  return ask(*table);
}

}  // namespace

int perm_get_id(char* appid) {
  if (appid == nullptr) return PERM_BAD_ARGUMENT;
  return ask_table([&](const perm_table& table) { return find_id(table, appid); });
}

int perm_check(uint32_t ability, const char* appid) {
  if (ability < 1 || ability > PERM_ABILITY_COUNT || appid == nullptr) return PERM_BAD_ARGUMENT;
  if (!all_digits(appid)) {
    ZEL_LOG_LONG(LOG_DEBUG, "[PERM]", "appid is not all digit");
    return PERM_BAD_ARGUMENT;
  }
  return ask_table([&](const perm_table& table) { return find_grant(table, ability, appid); });
}
