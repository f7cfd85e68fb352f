/* Answers every message but one. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>
#include <zel/zel.h>

static int answer(const char* message, uint32_t length, char* reply, uint32_t size) {
  (void)length;
  if (strcmp(message, "crash") == 0) abort();
  snprintf(reply, size, "%s", message);
  return 0;
}

int main(void) {
  if (zel_service_init() != 0 || zel_cloud_msg_handler_register(answer) != 0) return 1;
  for (;;) pause();
}
