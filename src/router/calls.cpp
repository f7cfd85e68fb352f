// What plug-ins call: the queries behind the permission checks.
#include <zel/perm.h>
#include <zel/router.h>

#include <cstring>

#include "base/log.h"
#include "perm/guard.h"

namespace {

constexpr int kRefused = -1;
constexpr int kQueryFailed = -2;

zel::Guard router_api_guard("[ZRAPI]", zel::Guard::Logs::kRefusals);

// The checks in front of a query. Its messages are known by fixed lines.
struct Checks {
  const char* who;
  uint32_t ability;
  int argument_line;
  int permission_line;

  bool pass(bool arguments, const char* complaint) const {
    if (!arguments) ZEL_LOG_AT(who, argument_line, LOG_ERR, "[ZRAPI]", "%s", complaint);
    return arguments && router_api_guard.permits(ability, who, permission_line);
  }
};

int of_record(int result) {
  return result == 0 ? 0 : kQueryFailed;
}

// Kept: the router's own positive code looks like a number of entries left out.
int of_array(int result) {
  return result >= 0 ? result : kQueryFailed;
}

// A text cut by the query's bounded copy has no end yet.
int of_text(int result, char* buffer, int length) {
  if (result != 0) return kQueryFailed;
  if (length < 1) return kRefused;
  buffer[length - 1] = '\0';
  return 0;
}

bool is_array(const void* records, const int* count) {
  return records != nullptr && count != nullptr && *count >= 1;
}

}  // namespace

int zel_get_device_name(char* name, int length) {
  const Checks checks{__func__, ability_system, 32, 36};
  if (!checks.pass(name != nullptr, "NULL name buf\n\n")) return kRefused;
  return of_text(vendor_get_device_name(name, length), name, length);
}

int zel_get_device_id(char* device_id, int length) {
  const Checks checks{__func__, ability_system, 53, 57};
  if (!checks.pass(device_id != nullptr, "NULL device_id buf\n\n")) return kRefused;
  return of_text(vendor_get_device_id(device_id, length), device_id, length);
}

int zel_get_wan_speed(zel_wan_speed* speed) {
  const Checks checks{__func__, ability_wan, 74, 78};
  if (!checks.pass(speed != nullptr, "NULL param\n\n")) return kRefused;
  return of_record(vendor_get_wan_speed(speed));
}

int zel_get_wan_status(zel_wan_status* status) {
  const Checks checks{__func__, ability_wan, 93, 97};
  if (!checks.pass(status != nullptr, "NULL param\n\n")) return kRefused;
  return of_record(vendor_get_wan_status(status));
}

int zel_get_wifi_info(zel_wifi_info* networks, int* count) {
  const Checks checks{__func__, ability_wifi, 112, 116};
  if (!checks.pass(is_array(networks, count), "invalid param\n\n")) return kRefused;
  return of_array(vendor_get_wifi_info(networks, count));
}

int zel_get_partition_info(zel_partition_info* partitions, int* count) {
  const Checks checks{__func__, ability_disk, 131, 135};
  if (!checks.pass(is_array(partitions, count), "invalid param\n\n")) return kRefused;
  return of_array(vendor_get_partition_info(partitions, count));
}

// The DNS calls need no ability.

int zel_get_router_dns(char* dns1, char* dns2) {
  return dns1 != nullptr && dns2 != nullptr ? vendor_get_router_dns(dns1, dns2) : kRefused;
}

int zel_set_router_dns(const char* dns1, const char* dns2) {
  if (dns1 == nullptr || dns2 == nullptr) return kRefused;
  if (strnlen(dns1, 16) == 16) return kRefused;  // Kept: only the first text's length is checked.
  return vendor_set_router_dns(dns1, dns2);
}

int zel_reset_router_dns(void) {
  return vendor_reset_router_dns();
}
