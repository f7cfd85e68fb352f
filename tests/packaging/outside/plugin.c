/* A plug-in of somebody else's, C and C++ in one: it knows no more than the installed headers. */
#include <stdio.h>
#include <zel/zel.h>

int main(void) {
  char digest[33];
  printf("libzel %s: %s\n", ZEL_VERSION_TEXT, md5_string("router", 6, digest));
  return 0;
}
