#include <stdio.h>
#include <zel/zel.h>

int main(void) {
  char digest[33];
  char path[64];
  char* text;
  if (qo_mkdirp("kept/settings", 0755) != 1) return 1;
  if (qo_abspath_generate(path, sizeof path, "kept/settings/", "city") != 1) return 1;
  if (zel_save_string_to_file("Bern", path) != 0 || zel_file_copy(path, "kept/city.old") != 0) return 1;
  if (zel_check_file_md5("kept/city.old", digest) != 0) return 1;
  text = zel_get_buf_from_file(path);
  printf("%s holds %s, MD5 %s\n", path, text != NULL ? text : "nothing", digest);
  zel_free(text);
  printf("a film: %d, no film: %d\n", is_file_video("a.MKV"), is_file_video("a.txt"));
  return 0;
}
