#include "table.h"

#include <zel/util.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "perm_codes.h"

namespace zelctl {
namespace {

struct Detach {
  void operator()(const perm_table* table) const { perm_common_shm_unmap(table); }
};

// The table, attached and locked. Throws Failure.
class Section {
 public:
  Section() : table_(attach()), semid_(table_->semid), locked_(perm_common_sem_p(semid_) == 0) {}
  ~Section() {
    if (locked_) perm_common_sem_v(semid_);
  }
  Section(const Section&) = delete;
  Section& operator=(const Section&) = delete;
  const perm_table& operator*() const { return *table_; }

 private:
  static perm_table* attach() {
    const int shmid = perm_common_shm_init();
    if (shmid == -1) throw perm_failure("the permission table cannot be read", PERM_NO_SEGMENT);
    perm_table* const table = perm_common_shm_map(shmid);
    if (table == nullptr) throw perm_failure("the permission table cannot be read", PERM_NOT_ATTACHED);
    return table;
  }

  std::unique_ptr<perm_table, Detach> table_;
  int semid_;
  bool locked_;
};

// A table of zeros is what the kernel hands out to whoever asks first.
bool is_filled(const perm_table& table) {
  return table.plugin_count != 0 || table.abilities[0].permid != 0;
}

}  // namespace

const perm_plugin_info* Table::find(const std::string& appid) const {
  const auto found = std::find_if(plugins.begin(), plugins.end(), [&](const perm_plugin_info& plugin) {
    return qo_strcasecmp(text_of(plugin.appid).c_str(), appid.c_str()) == 0;
  });
  return found != plugins.end() ? &*found : nullptr;
}

Table read_table() {
  // Copied, so that nobody waits for the lock while we print.
  const auto shared = std::make_unique<perm_table>(*Section());
  if (!is_filled(*shared))
    throw Failure(kFailed, "the permission table is not initialised", "Run: zelctl perm init");
  Table table;
  for (const perm_plugin_slot& slot : shared->plugins) {
    if (slot.used == 0) continue;
    perm_plugin_info& plugin = table.plugins.emplace_back();
    std::memcpy(&plugin, &slot.uid, sizeof plugin);
  }
  for (const perm_ability_info& ability : shared->abilities) {
    if (ability.permid != 0) table.abilities.push_back({ability.permid, text_of(ability.permname)});
  }
  return table;
}

int write_package_file() {
  const Section section;
  return perm_common_write_pluginfo(&*section);
}

}  // namespace zelctl
