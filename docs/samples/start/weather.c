/* Answers cloud messages, and knows whether the internet can be reached. Needs the abilities 2 and 5. */
#include <stdio.h>
#include <string.h>
#include <unistd.h>
#include <zel/zel.h>

/* Written and read by the library's service thread alone. */
static int outage;

static void hear(int32_t subevent, const char* text) {
  (void)text;
  outage = subevent == 257;
  printf("the WAN link is %s\n", outage ? "down" : "up");
}

static int answer(const char* message, uint32_t length, char* reply, uint32_t size) {
  (void)length;
  if (strcmp(message, "report") == 0)
    snprintf(reply, size, outage ? "no internet" : "all is well");
  else
    snprintf(reply, size, "I know: report");
  return 0;
}

int main(void) {
  if (zel_event_subscribe(ZEL_EVENT_WAN, hear) != 0) {
    fprintf(stderr, "no events: not a plug-in's user, or without ability 5\n");
    return 1;
  }
  if (zel_service_init() != 0 || zel_cloud_msg_handler_register(answer) != 0) {
    fprintf(stderr, "no cloud messages: not a plug-in's user, or without ability 2\n");
    return 1;
  }
  for (;;) pause();
}
