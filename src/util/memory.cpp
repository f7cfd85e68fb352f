// Allocated memory and texts.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <zel/util.h>

char* zel_strdup(const char* text) {
  return text != nullptr ? strdup(text) : nullptr;
}

void* xrealloc(void* memory, size_t size) {
  return realloc(memory, size);
}

int zel_sprintf_alloc(char** text, const char* format, ...) {
  if (text == nullptr) return -1;
  *text = nullptr;
  if (format == nullptr) return -1;
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  const int length = vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  if (length < 0) {
    fprintf(stderr, "%s: encountered an output or encoding error during vsnprintf.\n", __func__);
    exit(EXIT_FAILURE);
  }
  *text = static_cast<char*>(malloc(static_cast<size_t>(length) + 1));
  if (*text != nullptr) vsnprintf(*text, static_cast<size_t>(length) + 1, format, again);
  va_end(again);
  return *text != nullptr ? length : -1;
}
