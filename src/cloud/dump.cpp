#include <zel/cloud.h>

#include <cstdio>

#include "bus/connect.h"

void dump_blob_buf(const blob_buf* buffer) {
  puts("dump_blob_buf");
  printf("buflen = %d\n", buffer->buflen);
  printf("addr of head = %p\n", static_cast<void*>(buffer->head));
  printf("addr of buf = %p\n", buffer->buf);
  const auto* const bytes = static_cast<const unsigned char*>(buffer->buf);
  for (int i = 0; i < buffer->buflen; ++i) {
    if (i % 16 == 0) putchar('\n');
    printf("%02X ", bytes[i]);
  }
}
