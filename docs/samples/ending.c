/* Ends on SIGTERM, after what is under way. Needs ability 2. */
#include <signal.h>
#include <stdio.h>
#include <zel/zel.h>

static int answer(const char* message, uint32_t length, char* reply, uint32_t size) {
  (void)length;
  snprintf(reply, size, "%s yourself", message);
  return 0;
}

int main(void) {
  sigset_t ends;
  int signal = 0;
  sigemptyset(&ends);
  sigaddset(&ends, SIGTERM);
  sigaddset(&ends, SIGINT);
  pthread_sigmask(SIG_BLOCK, &ends, NULL); /* before any thread starts, so that all have it */

  if (zel_service_init() != 0 || zel_cloud_msg_handler_register(answer) != 0) return 1;
  sigwait(&ends, &signal);
  zel_cloud_msg_release(); /* waits for the message that is being answered */
  printf("ended by signal %d\n", signal);
  return 0;
}
