/* greeter: a plug-in that answers cloud messages. Needs ability 2 (cloud communication).
 *
 * zel_service_init makes the object "zel_<appid>" on the bus and starts the thread that serves it; from then
 * on the handler below is all there is to do. */
#include "plugin.h"

static int greet(const char* message, uint32_t length, char* answer, uint32_t answer_size) {
  printf("got \"%s\" (%u bytes)\n", message, (unsigned)length);
  snprintf(answer, answer_size, "Good day! You said: %s", message);
  return 0;
}

int main(void) {
  char appid[PERM_APPID_SIZE];
  if (begin_plugin("greeter", appid) != 0) return 1;
  if (zel_service_init() != 0) {
    fprintf(stderr, "greeter: the library did not start; its lines above tell why\n");
    return 1;
  }
  if (zel_cloud_msg_handler_register(greet) != 0) {
    fprintf(stderr, "greeter: no cloud messages for this plug-in; its package needs ability 2\n");
    return 1;
  }
  printf("serving %s as user %u\n", zel_object_name, (unsigned)getuid());
  for (;;) pause();
}
