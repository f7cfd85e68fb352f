/* outsider: a plug-in whose package grants it no cloud communication, and what becomes of it when it tries.
 * Exits 0 if it was refused, as it should be. */
#include <stdio.h>
#include <unistd.h>
#include <zel/zel.h>

static int never_called(const char* message, uint32_t length, char* answer, uint32_t answer_size) {
  (void)message, (void)length, (void)answer, (void)answer_size;
  return 0;
}

int main(void) {
  char appid[PERM_APPID_SIZE] = "";
  int check;
  int start;
  int registered;
  setvbuf(stdout, NULL, _IOLBF, 0);
  zel_debug = 0; /* the library's messages without function names and lines */
  if (perm_get_id(appid) != 0) {
    fprintf(stderr,
            "outsider: user %u is no plug-in's; run it in a router box, under a uid of the package file\n",
            (unsigned)getuid());
    return 1;
  }
  check = perm_check(ability_cloud_communication, appid);
  start = zel_service_init();
  registered = zel_cloud_msg_handler_register(never_called);
  printf("I am plug-in %s, user %u\n", appid, (unsigned)getuid());
  printf("perm_check of ability 2: %d%s\n", check, check == PERM_NOT_GRANTED ? " (not granted)" : "");
  printf("zel_service_init: %d, object on the bus: %s\n", start, zel_cloud_ctx != NULL ? "yes" : "none");
  printf("zel_cloud_msg_handler_register: %d%s\n", registered, registered == -1 ? " (refused)" : "");
  return check == PERM_NOT_GRANTED && start == 0 && zel_cloud_ctx == NULL && registered == -1 ? 0 : 1;
}
