// perm_table.h: the shared permission table, looked at once.
#pragma once
#include <zel/perm.h>

#include <memory>
#include <string>
#include <vector>

namespace zelctl {

struct Ability {
  int number;
  std::string name;  // as the catalogue has it, "ability_wan"
};

struct Table {
  std::vector<perm_plugin_info> plugins;  // in slot order
  std::vector<Ability> abilities;         // those that can be granted and asked for
  size_t more_abilities = 0;              // of the catalogue, which the library does not know

  // Null if there is none.
  const perm_plugin_info* find(const std::string& appid) const;
};

// A table of zeros is what the kernel hands out to whoever asks first.
bool is_filled(const perm_table& table);

// An init that succeeds adds the two that are the router's own, if there is room.
bool is_filled_to_its_end(const Table& table);

// The appids that are the router's own.
bool is_reserved(const std::string& appid);

// The segment, for a scope. Throws Failure.
struct DetachTable {
  void operator()(const perm_table* table) const;
};
using AttachedTable = std::unique_ptr<perm_table, DetachTable>;
AttachedTable attach_table();

// The table's semaphore, taken for a scope. Waits for it for some seconds only: who holds it for longer will not give
// it back. Throws Failure.
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

// What is in force now. Throws Failure, also when the table was not filled since the router started.
Table read_table();

Table table_of(const perm_table& shared);

// A text of the table, which need not end within its field.
template <size_t Size>
std::string text_of(const char (&field)[Size]) {
  size_t length = 0;
  while (length < Size && field[length] != '\0') ++length;
  return {field, length};
}

}  // namespace zelctl
