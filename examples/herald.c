/* herald: a plug-in that sends one event of each kind every second. Needs ability 4 (sending events). */
#include "plugin.h"

static const struct {
  int (*send)(uint32_t subevent, const char* data);
  uint32_t subevent;
  const char* data;
} kEvents[] = {{zel_event_send_disk, 0, "sda1"},
               {zel_event_send_disk, 1, "sda1"},
               {zel_event_send_wan, 256, "100% up"},
               {zel_event_send_wan, 257, "down"},
               {zel_event_send_home, 512, "somebody came home"}};

int main(void) {
  char appid[PERM_APPID_SIZE];
  size_t i;
  if (begin_plugin("herald", appid) != 0) return 1;
  if (perm_check(ability_notify_send, appid) != 0) {
    fprintf(stderr, "herald: no events from this plug-in; its package needs ability 4\n");
    return 1;
  }
  for (;; sleep(1)) {
    for (i = 0; i < sizeof kEvents / sizeof *kEvents; ++i) {
      const int result = kEvents[i].send(kEvents[i].subevent, kEvents[i].data);
      printf("sent subevent %u: %d\n", (unsigned)kEvents[i].subevent, result);
    }
  }
}
