// table.h: the shared permission table, looked at once.
#pragma once
#include <zel/perm.h>

#include <string>
#include <vector>

namespace zelctl {

struct Ability {
  int number;
  std::string name;  // as the catalogue has it, "ability_wan"
};

struct Table {
  std::vector<perm_plugin_info> plugins;  // in slot order
  std::vector<Ability> abilities;

  // Null if there is none.
  const perm_plugin_info* find(const std::string& appid) const;
};

// What is in force now. Throws Failure, also when the table was not filled since the router started.
Table read_table();

// The same before a change, which writes the package file anew from the table. Throws Failure if that would take
// out of the file what the table lacks: after an init that failed the table has only the plug-ins in front of the
// file's first fault.
Table read_table_to_change();

// The same before the table is saved on purpose, which may drop plug-ins once the table was filled to its end.
Table read_table_to_save();

// Writes the table to the package file, under the table's lock. Returns the library's code; throws Failure.
int write_package_file();

// A text of the table, which need not end within its field.
template <size_t Size>
std::string text_of(const char (&field)[Size]) {
  size_t length = 0;
  while (length < Size && field[length] != '\0') ++length;
  return {field, length};
}

}  // namespace zelctl
