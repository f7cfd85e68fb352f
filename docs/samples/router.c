/* Prints how the WAN link is, and the Wi-Fi networks. Needs the abilities 7 and 8. */
#include <stdio.h>
#include <string.h>
#include <zel/zel.h>

#define COUNT 4

int main(void) {
  zel_wan_status status;
  zel_wifi_info networks[COUNT];
  int count = COUNT;
  int i;
  const int result = zel_get_wan_status(&status);
  if (result != 0) {
    fprintf(stderr, result == -1 ? "not permitted\n" : "the router did not answer rightly\n");
    return 1;
  }
  printf("internet %s, address %.16s\n", status.WAN_NET ? "reachable" : "out of reach", status.WAN_IP);

  memset(networks, 0, sizeof networks);
  if (zel_get_wifi_info(networks, &count) < 0) return 1; /* above 0: so many more than COUNT */
  for (i = 0; i < count; ++i)
    printf("Wi-Fi %.128s: %s\n", networks[i].WIFI_SSID, networks[i].WIFI_Status ? "on" : "off");
  return 0;
}
