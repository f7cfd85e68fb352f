// What a router answers, to every query: the transfer is played, and so is blkid.
#include <zel/http.h>
#include <zel/router.h>
#include <zel/util.h>

#include <cstdio>
#include <cstring>

#include "input.h"

namespace {

const char* answer;

}  // namespace

extern "C" {
int __wrap_HttpGet(char* result, const char*, int, int) {
  qo_strncpy(result, answer, ZEL_HTTP_RESULT_SIZE);
  return 0;
}
FILE* __wrap_popen(const char*, const char*) {
  return nullptr;
}
int LLVMFuzzerInitialize(int*, char***) {
  return freopen("/dev/null", "w", stdout) != nullptr ? 0 : 1;
}
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = text_of(data, size);
  answer = text.c_str();
  Exact name(33), dns1(ZEL_DNS_SIZE), dns2(ZEL_DNS_SIZE);
  vendor_get_device_name(name.data(), 33);
  zel_wan_speed speed;
  vendor_get_wan_speed(&speed);
  zel_wan_status status;
  if (vendor_get_wan_status(&status) == 0) check(status.WAN_TYPE >= 0 && status.WAN_TYPE <= 2);
  zel_wifi_info networks[2];
  int count = 2;
  if (vendor_get_wifi_info(networks, &count) == 0) check(count >= 0 && count <= 2);
  zel_partition_info partitions[2];
  count = 2;
  if (vendor_get_partition_info(partitions, &count) == 0) check(count >= 0 && count <= 2);
  if (vendor_get_router_dns(dns1.data(), dns2.data()) == 0)
    check(strnlen(dns1.data(), ZEL_DNS_SIZE) < ZEL_DNS_SIZE);
  vendor_set_router_dns("192.0.2.1", "192.0.2.2");
  return 0;
}
