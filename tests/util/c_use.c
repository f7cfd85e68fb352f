/* The header as a plug-in in plain C uses it. */
#include "zel/util.h"

#include <stdlib.h>
#include <string.h>

/* Returns 0, or the number of the step that failed. */
int use_util_from_c(void) {
  char text[] = " name=a b&d \n";
  char* const trimmed = trim(text, (int)strlen(text));
  char room[64];
  char* encoded;
  char* end;
  char* in = room;
  int length = 0;
  if (strcmp(trimmed, "name=a b&d") != 0) return 1;

  encoded = qo_malloc_encode_string(trimmed);
  if (encoded == NULL || strcmp(encoded, "name%3Da+b%26d") != 0) return 2;
  if (url_decode(encoded, (int)strlen(encoded)) != 10) return 3;
  qo_freep(&encoded);
  if (encoded != NULL) return 4;

  end = (char*)escape_uri(room, "a?b", 3, QO_ESCAPE_URI);
  if (end - room != 5 || memcmp(room, "a%3Fb", 5) != 0) return 5;
  end = room;
  unescape_uri(&end, &in, 5, 0);
  if (end - room != 3 || in - room != 5) return 6;

  encode_base64("hello", 5, room, &length);
  return length == 8 && memcmp(room, "aGVsbG8=", 8) == 0 ? 0 : 7;
}
