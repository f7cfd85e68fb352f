#include <stdio.h>
#include <zel/zel.h>

int main(void) {
  zel_device_info info;
  char url[256];
  if (zel_get_device_info(&info) != 0) return 1;
  printf("%.64s, firmware %.64s\n", info.deviceName, info.fw_version);
  if (norva_config_get(NORVA_CONFIG_WEBURL_STATE, url, sizeof url) == 0)
    printf("web address filter: %s\n", url);
  printf("%s\n", GetRamInKB() > 0 ? "it has memory" : "it does not tell how much memory it has");
  return 0;
}
