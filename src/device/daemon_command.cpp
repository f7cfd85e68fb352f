// Questions to the router's daemon, answered by its script.
#include <zel/device.h>
#include <zel/util.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/command.h"
#include "base/qo_level.h"

#define DAEMON_SHELL "/usr/local/localshell/norva_daemon_shell"

namespace {

constexpr struct {
  int key;
  const char* command;
} kCommands[] = {
    {NORVA_CONFIG_SIGN, DAEMON_SHELL " getsign"},
    {NORVA_CONFIG_CLOUDSIGN, DAEMON_SHELL " get_cloudsign"},
    {NORVA_CONFIG_LANMAC, DAEMON_SHELL " get_lanmac"},
    {NORVA_CONFIG_UPGRADE, DAEMON_SHELL " upgrade &"},
    {NORVA_CONFIG_WEBURL_STATE, DAEMON_SHELL " weburl query_state"},
    {NORVA_CONFIG_WEBURL, DAEMON_SHELL " weburl %s"},  // Kept: the script gets these two characters.
    {NORVA_CONFIG_WEBURL_BLACK, DAEMON_SHELL " weburl query_blackurls"},
};

const char* command_of(int key) {
  for (const auto& row : kCommands) {
    if (row.key == key) return row.command;
  }
  return nullptr;
}

// Reads to the end and keeps the lines before the first that does not fit.
void read_lines(zel::Command* script, char* buffer, size_t size) {
  char line[256];
  size_t total = 0;
  while (script->read_line(line, sizeof line)) {
    const size_t length = strlen(line);
    if (length + total < size) qo_strncpy(buffer + total, line, size - total);
    total += length;  // Kept: counts a line that did not fit, so none behind it does either.
  }
  // Kept: only the end of all that was printed is looked at, which lies outside if not all of it fitted.
  if (total == 0 || total >= size) return;
  if (buffer[total - 1] == '\n' || buffer[total - 1] == '\r') buffer[total - 1] = '\0';
}

}  // namespace

int norva_config_get(int key, char* buffer, int length) {
  const size_t size = length > 0 ? static_cast<size_t>(length) : 0;
  if (buffer != nullptr) memset(buffer, 0, size);
  const char* const command = command_of(key);
  if (command == nullptr) {
    QO_Log(zel::kQoError, "[%s]Invalid arguments!", __func__);
    return -1;
  }
  zel::Command script(command);
  if (!script) {
    QO_Log(zel::kQoError, "[%s]Failed to run command[%s]", __func__, command);
    return -1;
  }
  if (buffer == nullptr) {
    script.leave();
    return 0;
  }
  read_lines(&script, buffer, size);
  QO_Log(zel::kQoDebug, "[%s]Command[%s] result:\n   %s", __func__, command, size > 0 ? buffer : "");
  return script.finish();
}

int zel_get_lan_mac(uint8_t* mac) {
  constexpr int kGroups = 6;
  char text[24];
  // Each group's place is two characters behind the one before, so that its first two digits stay when the next
  // is put over its terminator. The room behind is for a last group of any length.
  char pieces[2 * kGroups + sizeof text] = {};
  if (mac == nullptr) return 0;
  norva_config_get(NORVA_CONFIG_LANMAC, text, sizeof text);
  sscanf(text, "%[^:]:%[^:]:%[^:]:%[^:]:%[^:]:%s", pieces, pieces + 2, pieces + 4, pieces + 6, pieces + 8,
         pieces + 10);
  for (int group = 0; group < kGroups; ++group) {
    const char digits[] = {pieces[2 * group], pieces[2 * group + 1], '\0'};
    mac[group] = static_cast<uint8_t>(strtoul(digits, nullptr, 16));
  }
  return 0;
}
