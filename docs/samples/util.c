#include <stdio.h>
#include <string.h>
#include <zel/zel.h>

int main(void) {
  char text[64];
  char digest[33];
  char* form = qo_malloc_encode_string("Bern & Rome");
  const char* rest;
  int length;
  encode_base64("Bern", 4, text, &length);
  printf("base64  %.*s\n", length, text);
  printf("form    %s\n", form != NULL ? form : "no memory");
  zel_free(form);
  printf("MD5     %s\n", md5_string("Bern", 4, digest));
  if (qo_stristart("City Rome", "city ", &rest)) printf("rest    %s\n", rest);
  printf("time    %d s\n", parse_time("1:02:03"));
  return 0;
}
