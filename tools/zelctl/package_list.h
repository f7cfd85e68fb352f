// package_list.h: what a package file lists, with what is wrong with it.
#pragma once
#include <zel/perm.h>

#include <string>
#include <vector>

#include "json.h"
#include "perm_table.h"

namespace zelctl {

inline constexpr const char* kPackageFile = "/etc/norva/packages.json";

struct Problem {
  int line;  // 1: also of what concerns the whole file
  std::string text;
};

struct PackageList {
  std::vector<perm_plugin_info> plugins;  // up to the first fault, also those that the table has no room for
  std::vector<Problem> problems;
  int code = 0;  // why the library would not read it to its end: 7008, 7010, 7011, 7018 or 7022
};

// Reads as the library does, and on behind the table's end.
PackageList read_package_list(const char* path);
// The same of the file's text.
PackageList parse_package_list(const std::string& text);

void add_problems(cJSON* object, const PackageList& list);

// Fails if writing the file from the table would put back or take out what the file says: after a change
// that did not reach it, an edit by hand, or an init that failed.
void require_same(const PackageList& list, const perm_table& table);

// The appids that are otherwise in the file than in the table.
std::vector<std::string> differing(const PackageList& list, const perm_table& table);

}  // namespace zelctl
