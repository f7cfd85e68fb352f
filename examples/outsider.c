/* outsider: a plug-in whose package grants it nothing that is tried here, and what becomes of each try.
 * Exits 0 if all were refused, as they should be. */
#include "plugin.h"

static int never_called(const char* message, uint32_t length, char* answer, uint32_t answer_size) {
  (void)message, (void)length, (void)answer, (void)answer_size;
  return 0;
}

static void never_heard(int32_t subevent, const char* data) {
  (void)subevent, (void)data;
}

static int serve_cloud(void) {
  return zel_cloud_msg_handler_register(never_called);
}
static int send_event(void) {
  return zel_event_send_disk(0, "sda1");
}
static int hear_events(void) {
  return zel_event_subscribe(ZEL_EVENT_DISK, never_heard);
}
static int read_name(void) {
  char name[64];
  return zel_get_device_name(name, sizeof name);
}
static int read_status(void) {
  zel_wan_status status;
  return zel_get_wan_status(&status);
}
static int read_wifi(void) {
  zel_wifi_info network;
  int count = 1;
  return zel_get_wifi_info(&network, &count);
}
static int read_partitions(void) {
  zel_partition_info partition;
  int count = 1;
  return zel_get_partition_info(&partition, &count);
}

static const struct {
  uint32_t ability;
  const char* name;
  int (*call)(void);
} kTries[] = {{ability_cloud_communication, "zel_cloud_msg_handler_register", serve_cloud},
              {ability_notify_send, "zel_event_send_disk", send_event},
              {ability_notify_rcv, "zel_event_subscribe", hear_events},
              {ability_system, "zel_get_device_name", read_name},
              {ability_wan, "zel_get_wan_status", read_status},
              {ability_wifi, "zel_get_wifi_info", read_wifi},
              {ability_disk, "zel_get_partition_info", read_partitions}};

int main(void) {
  char appid[PERM_APPID_SIZE];
  int granted = 0;
  int start;
  size_t i;
  if (begin_plugin("outsider", appid) != 0) return 1;
  start = zel_service_init();
  printf("I am plug-in %s, user %u\n", appid, (unsigned)getuid());
  printf("zel_service_init: %d, object on the bus: %s\n", start, zel_cloud_ctx != NULL ? "yes" : "none");
  for (i = 0; i < sizeof kTries / sizeof *kTries; ++i) {
    const int check = perm_check(kTries[i].ability, appid);
    const int result = kTries[i].call();
    printf("without ability %2u (perm_check: %d), %s: %d%s\n", (unsigned)kTries[i].ability, check,
           kTries[i].name, result, result == -1 ? ", refused" : "");
    granted += check != PERM_NOT_GRANTED || result != -1;
  }
  return start == 0 && zel_cloud_ctx == NULL && granted == 0 ? 0 : 1;
}
