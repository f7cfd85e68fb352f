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

// A table of zeros is what the kernel hands out to whoever asks first.
bool is_filled(const perm_table& table) {
  return table.plugin_count != 0 || table.abilities[0].permid != 0;
}

// The table, attached and locked. Throws Failure.
class Section {
 public:
  Section() : table_(attach()), semid_(table_->semid) {
    // Before the lock: the semaphore that a table of zeros names is somebody else's.
    if (!is_filled(*table_))
      throw Failure(kFailed, "the permission table is not initialised",
                    "On the router, run: zelctl perm init. On a PC, run zelctl inside a router box.");
    locked_ = perm_common_sem_p(semid_) == 0;
  }
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
  bool locked_ = false;
};

std::vector<perm_plugin_info> plugins_of(const perm_table& table) {
  std::vector<perm_plugin_info> plugins;
  for (const perm_plugin_slot& slot : table.plugins) {
    if (slot.used != 0) std::memcpy(&plugins.emplace_back(), &slot.uid, sizeof(perm_plugin_info));
  }
  return plugins;
}

Table table_of(const perm_table& shared) {
  Table table{plugins_of(shared), {}};
  for (const perm_ability_info& ability : shared.abilities) {
    if (ability.permid != 0) table.abilities.push_back({ability.permid, text_of(ability.permname)});
  }
  return table;
}

// The table and what the package file lists, as they were at one moment.
struct Both {
  Table table;
  std::vector<perm_plugin_info> listed;
};

Both read_both() {
  const auto file = std::make_unique<perm_table>();
  const auto shared = std::make_unique<perm_table>();
  int code = 0;
  {
    const Section section;
    *shared = *section;
    code = perm_common_read_plugin_file(file.get());
  }
  // What cannot be opened will not be overwritten either.
  if (code != 0 && code != PERM_NO_PACKAGES && code != PERM_NOT_OPENED)
    throw Failure(kFailed,
                  "/etc/norva/packages.json cannot be read to its end, and would be written without the rest",
                  "Mend the file, then run: zelctl perm init. To give up what it holds, remove it, then run: "
                  "zelctl perm save",
                  code);
  return {table_of(*shared), plugins_of(*file)};
}

const perm_plugin_info* first_lacking(const Both& both) {
  const auto found = std::find_if(
      both.listed.begin(), both.listed.end(),
      [&](const perm_plugin_info& plugin) { return both.table.find(text_of(plugin.appid)) == nullptr; });
  return found != both.listed.end() ? &*found : nullptr;
}

[[noreturn]] void refuse(const perm_plugin_info& lacking, const char* advice) {
  throw Failure(kFailed,
                "/etc/norva/packages.json lists " + readable(text_of(lacking.appid)) +
                    ", which the table lacks, and would be written without it",
                advice);
}

// An init that succeeds adds the two that are the router's own, if there is room.
bool is_filled_to_its_end(const Table& table) {
  return table.plugins.size() == PERM_PLUGIN_SLOTS ||
         (table.find("1") != nullptr && table.find("2") != nullptr);
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
  return table_of(*shared);
}

Table read_table_to_change() {
  Both both = read_both();
  if (const perm_plugin_info* const lacking = first_lacking(both))
    refuse(*lacking,
           "To fill the table from the file: zelctl perm init. To write the file from the table: zelctl perm "
           "save");
  return std::move(both.table);
}

Table read_table_to_save() {
  Both both = read_both();
  if (const perm_plugin_info* const lacking = first_lacking(both);
      lacking && !is_filled_to_its_end(both.table))
    refuse(*lacking, "The table was not filled to its end. Run: zelctl perm init");
  return std::move(both.table);
}

int write_package_file() {
  const Section section;
  return perm_common_write_pluginfo(&*section);
}

}  // namespace zelctl
