/* Fetches each URL once, with at most 2 seconds for it. */
#include <stdio.h>
#include <zel/zel.h>

int main(int argc, char** argv) {
  static char answer[ZEL_HTTP_RESULT_SIZE];
  int i;
  for (i = 1; i < argc; ++i) printf("%s: %d\n", argv[i], HttpGet(answer, argv[i], 2, 1));
  return 0;
}
