// Allocation and copying under the library's name.
#include <zel/service.h>

#include <cstdlib>
#include <cstring>

void* zel_malloc(size_t size) {
  return malloc(size);
}

void zel_free(void* memory) {
  free(memory);
}

void zel_freep(void* holder) {
  // The variable may be of any pointer type, so it is read and written as bytes.
  void* memory = nullptr;
  memcpy(&memory, holder, sizeof memory);
  free(memory);
  memory = nullptr;
  memcpy(holder, &memory, sizeof memory);
}

char* zel_strncpy(char* destination, const char* source, size_t size) {
  strncpy(destination, source, size);
  destination[size - 1] = '\0';  // Kept: no guard for size 0; callers never pass it.
  return destination;
}
