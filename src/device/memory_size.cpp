// The size of main memory.
#include <zel/device.h>
#include <zel/util.h>

#include <cstdio>
#include <cstring>

#include "base/command.h"
#include "base/handles.h"
#include "base/number.h"

namespace {

int next_thousands(char** rest) {
  const char* const field = strtok_r(nullptr, " \t\n:", rest);
  return field != nullptr ? zel::leading_number<int>(field) / 1000 : 0;
}

}  // namespace

int qo_get_memory_info(int* total, int* used) {
  if (total == nullptr || used == nullptr) return -1;
  *total = *used = 0;
  zel::Command free("free");
  if (!free) return 0;
  char line[1024];
  bool found = false;
  // Reads on behind the line, so that the result is not that of a program whose output was cut off.
  while (free.read_line(line, sizeof line)) {
    char* rest = nullptr;
    const char* const name = found ? nullptr : strtok_r(line, " \t\n:", &rest);
    if (name == nullptr || qo_strcasecmp(name, "Mem") != 0) continue;
    found = true;
    *total = next_thousands(&rest);
    *used = next_thousands(&rest);
  }
  return free.finish();
}

int GetRamInKB(void) {
  constexpr char kName[] = "MemTotal:";
  constexpr size_t kNameLength = sizeof kName - 1;
  const zel::File file = zel::open_file("/proc/meminfo", "re");
  char line[256];
  while (file && fgets(line, sizeof line, file.get()) != nullptr) {
    if (strncmp(line, kName, kNameLength) != 0) continue;
    int number = 0;
    if (zel::read_number(line + kNameLength, &number)) return number;
  }
  return -1;
}
