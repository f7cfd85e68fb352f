/* watcher: a plug-in that prints the router's events. Needs ability 5 (receiving events).
 * Usage: watcher [COUNT]   (ends after so many events; without a count it goes on) */
#include <semaphore.h>
#include <stdlib.h>

#include "plugin.h"

static sem_t heard;

/* Called by the service thread for all three events; the upper part of the subevent tells which. */
static void print_event(int32_t subevent, const char* data) {
  static const char* const kNames[ZEL_EVENT_COUNT] = {"disk", "WAN", "home"};
  printf("heard: %s event, subevent %d: %s\n", kNames[subevent >> 8], (int)subevent,
         data != NULL ? data : "(no text)");
  sem_post(&heard);
}

int main(int argc, char** argv) {
  const int limit = argc > 1 ? atoi(argv[1]) : 0;
  char appid[PERM_APPID_SIZE];
  uint32_t event;
  int count;
  if (begin_plugin("watcher", appid) != 0) return 1;
  sem_init(&heard, 0, 0);
  for (event = 0; event < ZEL_EVENT_COUNT; ++event) {
    if (zel_event_subscribe(event, print_event) == 0) continue;
    fprintf(stderr, "watcher: no events for this plug-in; its package needs ability 5\n");
    return 1;
  }
  if (zel_service_init() != 0) {
    fprintf(stderr, "watcher: the library did not start; its lines above tell why\n");
    return 1;
  }
  printf("I am plug-in %s, user %u, and listen\n", appid, (unsigned)getuid());
  for (count = 0; limit == 0 || count < limit; ++count) {
    while (sem_wait(&heard) != 0) continue;
  }
  for (event = 0; event < ZEL_EVENT_COUNT; ++event) zel_event_unsubscribe(event);
  return 0;
}
