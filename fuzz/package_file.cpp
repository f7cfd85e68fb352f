// The permission and the package file, read into a table.
#include <zel/perm.h>

#include <cstring>

#include "base/whole_file.h"
#include "input.h"

namespace {

std::string content;

}  // namespace

// The files' content is played. A size_t is part of the C++ name.
#if __SIZEOF_SIZE_T__ == 8
#define READ_WHOLE_FILE "_ZN3zel15read_whole_fileEPKcim"
#else
#define READ_WHOLE_FILE "_ZN3zel15read_whole_fileEPKcij"
#endif
zel::WholeFile play_file(const char*, int, size_t) __asm__("__wrap_" READ_WHOLE_FILE);
zel::WholeFile play_file(const char*, int, size_t) {
  return {zel::Memory<char>(strdup(content.c_str())), content.size(), zel::FileFault::kNone};
}
extern "C" int __wrap_access(const char*, int) {
  return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  content = text_of(data, size).c_str();
  perm_table table{};
  const int packages = perm_common_read_plugin_file(&table);
  int used = 0;
  for (const perm_plugin_slot& slot : table.plugins) used += slot.used;
  check(table.plugin_count == used);
  check(packages == 0 || packages == PERM_NOT_JSON || packages == PERM_MALFORMED);
  for (const perm_plugin_slot& slot : table.plugins)
    check(memchr(slot.appid, '\0', sizeof slot.appid) != nullptr);
  const int permissions = perm_common_read_permission_file(&table);
  check(permissions == 0 || permissions == PERM_NOT_JSON || permissions == PERM_MALFORMED);
  check(perm_common_system_app_uid_by_appid(&table) == 0);
  return 0;
}
