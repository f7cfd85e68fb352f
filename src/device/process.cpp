// Whether a process runs.
#include <zel/device.h>

#include <cstdio>

#include "base/command.h"
#include "base/handles.h"
#include "base/new_text.h"
#include "base/number.h"

int zel_detect_proc(const char* name) {
  const zel::Memory<char> pattern = name != nullptr ? zel::within_quotes(name) : nullptr;
  if (!pattern) return -1;
  char command[128];
  const int length = snprintf(command, sizeof command, "ps | grep grep -v | grep -c '%s'", pattern.get());
  if (length < 0 || static_cast<size_t>(length) >= sizeof command) return -1;
  char line[512];
  zel::Command count(command);
  while (count && count.read_line(line, sizeof line)) {
    if (zel::leading_number<int>(line) > 0) return 0;
  }
  return -1;
}
