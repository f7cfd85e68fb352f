/* What a plug-in's process occupies once its bus side is up. Built twice: as a plug-in that serves cloud
 * messages through the library, and as a program that has only connected with libubus. Prints one table row
 * in KiB. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#ifdef WITH_ZEL
#include <zel/zel.h>

static const char name[] = "serving, with the library";

static int come_up(void) {
  zel_debug = 0;
  return zel_service_init() == 0 && zel_cloud_ctx != NULL;
}
#else
#include <libubus.h>

static const char name[] = "connected, with libubus alone";

static int come_up(void) {
  return ubus_connect(NULL) != NULL;
}
#endif

/* The sum of the process's mappings in KiB, or -1. */
static long kib_of(const char* key) {
  char line[128];
  long kib = -1;
  FILE* const file = fopen("/proc/self/smaps_rollup", "re");
  if (file == NULL) return -1;
  while (kib == -1 && fgets(line, sizeof line, file) != NULL) {
    if (strncmp(line, key, strlen(key)) == 0) kib = strtol(line + strlen(key) + 1, NULL, 10);
  }
  fclose(file);
  return kib;
}

int main(void) {
  static const char* const keys[] = {"Rss", "Pss", "Private_Dirty"};
  size_t i;
  if (!come_up()) {
    fprintf(stderr, "%s: did not come up\n", name);
    return 1;
  }
  printf("%-32s", name);
  for (i = 0; i < sizeof keys / sizeof *keys; ++i) {
    const long kib = kib_of(keys[i]);
    if (kib == -1) {
      fprintf(stderr, "/proc/self/smaps_rollup tells no %s\n", keys[i]);
      return 1;
    }
    printf(" | %7ld", kib);
  }
  puts("");
  return 0;
}
