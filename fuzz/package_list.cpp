// The package file, judged line by line by zelctl.
#include "zelctl/package_list.h"

#include <algorithm>

#include "input.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = text_of(data, size);
  const zelctl::PackageList list = zelctl::parse_package_list(text);
  check(list.code == 0 || list.code == PERM_NOT_JSON || list.code == PERM_MALFORMED);
  check(list.code == 0 || !list.problems.empty());
  const auto lines = 1 + std::count(text.begin(), text.end(), '\n');
  for (const zelctl::Problem& problem : list.problems) check(problem.line >= 1 && problem.line <= lines);
  for (const perm_plugin_info& plugin : list.plugins)
    check(memchr(plugin.appid, '\0', sizeof plugin.appid) != nullptr);
  return 0;
}
