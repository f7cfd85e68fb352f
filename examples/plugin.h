/* plugin.h: how every example begins. */
#pragma once

#include <stdio.h>
#include <unistd.h>
#include <zel/zel.h>

/* Finds out which plug-in this process is, and sets its output up for a reader who watches it. Returns 0, or -1
 * with the reason on standard error: a program is a plug-in only under a user of the package file. */
static inline int begin_plugin(const char* program, char appid[PERM_APPID_SIZE]) {
  setvbuf(stdout, NULL, _IOLBF, 0);
  zel_debug = 0; /* the library's messages without function names and lines */
  appid[0] = '\0';
  if (perm_get_id(appid) == 0) return 0;
  fprintf(stderr, "%s: user %u is no plug-in's; run it in a router box, under a uid of the package file\n",
          program, (unsigned)getuid());
  return -1;
}
