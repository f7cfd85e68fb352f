#include "router/partition_uuid.h"

#include <cstdio>
#include <cstring>

#include "base/command.h"
#include "router/client.h"
#include "router/copy.h"

namespace {

constexpr size_t kLineBytes = 1024;  // of blkid, with the line feed
constexpr size_t kUuidBytes = 37;
static_assert(kUuidBytes < sizeof(zel_partition_info::UUID));

bool is_device_name(const char* name) {
  static constexpr char kPlain[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-./";
  return *name != '\0' && name[strspn(name, kPlain)] == '\0' && strstr(name, "..") == nullptr;
}

}  // namespace

namespace zel {

void get_partition_uuid(zel_partition_info* partition, const char* name) {
  if (!is_device_name(name)) return;
  char command[256];
  snprintf(command, sizeof command, "blkid -s UUID -o value /dev/%s", name);
  Command blkid(command);
  if (!blkid) ROUTER_PRINT(__func__, "Failed to run command[%s]\n", command);
  char line[kLineBytes + 1];
  if (!blkid || !blkid.read_line(line, sizeof line)) return;
  char* const end = strchr(line, '\n');
  if (end == nullptr) {
    ROUTER_PRINT(__func__, " there is no '\n' in %s.\n", line);
    return;
  }
  *end = '\0';
  fill_field(partition->UUID, kUuidBytes, line);
  partition->UUID[kUuidBytes] = '\0';
}

}  // namespace zel
