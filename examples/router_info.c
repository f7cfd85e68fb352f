/* router_info: a plug-in that prints what the router tells of itself. Needs the abilities 6 (name and id), 7 (WAN),
 * 8 (Wi-Fi) and 14 (disks); the DNS servers are open to every plug-in.
 * Usage: router_info [DNS1 DNS2]   (with servers: sets them, shows them, and takes them back)
 *
 * What the library exchanges with the router goes to standard output too, in lines that begin with "[". */
#include "plugin.h"

#define COUNT 8

/* Ends a report of what could not be had: -1 is a refusal, -2 a router that does not answer rightly. */
static int failed(const char* what, int result) {
  printf("%s: not to be had (%d)\n", what, result);
  return -1;
}

static int print_name(void) {
  char name[64];
  const int result = zel_get_device_name(name, sizeof name);
  if (result != 0) return failed("device name", result);
  printf("device name: %s\n", name);
  return 0;
}

static int print_id(void) {
  char id[64];
  const int result = zel_get_device_id(id, sizeof id);
  if (result != 0) return failed("device id", result);
  printf("device id: %s\n", id);
  return 0;
}

static int print_speed(void) {
  zel_wan_speed speed;
  const int result = zel_get_wan_speed(&speed);
  if (result != 0) return failed("WAN speed", result);
  printf("WAN speed: down %d (mean %d, peak %d), up %d (mean %d, peak %d)\n", speed.InstanDownloadRate,
         speed.AverageDownloadRate, speed.PeakDownloadRate, speed.InstantUploadRate, speed.AverageUploadRate,
         speed.PeakUploadRate);
  return 0;
}

static int print_status(void) {
  zel_wan_status status;
  const int result = zel_get_wan_status(&status);
  if (result != 0) return failed("WAN status", result);
  printf("WAN status: cable %s, internet %s, address %.16s, type %d\n", status.WAN_LINE ? "linked" : "out",
         status.WAN_NET ? "reachable" : "out of reach", status.WAN_IP, status.WAN_TYPE);
  return 0;
}

static int print_wifi(void) {
  zel_wifi_info networks[COUNT];
  int count = COUNT;
  int i;
  const int left_out = zel_get_wifi_info(networks, &count);
  if (left_out < 0) return failed("Wi-Fi", left_out);
  for (i = 0; i < count; ++i)
    printf("Wi-Fi: %.128s, %s GHz, %s\n", networks[i].WIFI_SSID,
           networks[i].WIFI_WirelessFrequency == 0 ? "2.4" : "5", networks[i].WIFI_Status ? "on" : "off");
  return 0;
}

static int print_partitions(void) {
  zel_partition_info partitions[COUNT];
  int count = COUNT;
  int i;
  const int left_out = zel_get_partition_info(partitions, &count);
  if (left_out < 0) return failed("partitions", left_out);
  for (i = 0; i < count; ++i)
    printf("partition: %.64s, UUID %s, %d of %d used\n", partitions[i].Partition, partitions[i].UUID,
           partitions[i].Used, partitions[i].Total);
  return 0;
}

static int print_dns(void) {
  char dns1[ZEL_DNS_SIZE];
  char dns2[ZEL_DNS_SIZE];
  const int result = zel_get_router_dns(dns1, dns2);
  if (result != 0) return failed("DNS servers", result);
  printf("DNS servers: \"%s\" and \"%s\"\n", dns1, dns2);
  return 0;
}

static int try_dns(const char* dns1, const char* dns2) {
  printf("setting them to %s and %s: %d\n", dns1, dns2, zel_set_router_dns(dns1, dns2));
  if (print_dns() != 0) return -1;
  printf("taking them back: %d\n", zel_reset_router_dns());
  return print_dns();
}

int main(int argc, char** argv) {
  static int (*const kReports[])(void) = {print_name, print_id,         print_speed, print_status,
                                          print_wifi, print_partitions, print_dns};
  char appid[PERM_APPID_SIZE];
  int failures = 0;
  size_t i;
  if (begin_plugin("router_info", appid) != 0) return 1;
  printf("I am plug-in %s, user %u\n", appid, (unsigned)getuid());
  for (i = 0; i < sizeof kReports / sizeof *kReports; ++i) failures -= kReports[i]();
  if (argc == 3) failures -= try_dns(argv[1], argv[2]);
  return failures == 0 ? 0 : 1;
}
