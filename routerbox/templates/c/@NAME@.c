// Answers cloud messages. The headers are the manual: begin with zel/zel.h.
#include <stdio.h>
#include <unistd.h>
#include <zel/zel.h>

static int answer(const char* message, uint32_t length, char* reply, uint32_t size) {
  printf("asked: %.*s\n", (int)length, message);
  snprintf(reply, size, "%u bytes, thank you", (unsigned)length);
  return 0;
}

int main(void) {
  if (zel_service_init() != 0 || zel_cloud_msg_handler_register(answer) != 0) {
    fprintf(stderr, "no cloud messages: not a plug-in's user, or without ability 2\n");
    return 1;
  }
  for (;;) pause();
}
