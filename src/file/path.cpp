// Paths as texts, and a link's target.
#include <unistd.h>
#include <zel/file.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/handles.h"

char* zel_stripslash(char* path) {
  if (path == nullptr) return nullptr;
  for (size_t length = strlen(path); length >= 2 && path[length - 1] == '/'; --length)
    path[length - 1] = '\0';
  return path;
}

char* zel_dirname(const char* path) {
  zel::Memory<char> copy(path != nullptr ? strdup(path) : nullptr);
  char* const slash = copy ? strrchr(zel_stripslash(copy.get()), '/') : nullptr;
  if (copy && slash == nullptr) return strdup(".");
  if (slash != nullptr) slash[slash == copy.get() ? 1 : 0] = '\0';
  return copy.release();
}

char* xreadlink(const char* path) {
  constexpr size_t kStep = 80;
  if (path == nullptr) {
    errno = EFAULT;
    return nullptr;
  }
  zel::Memory<char> target;
  for (size_t size = kStep;; size += kStep) {
    char* const grown = static_cast<char*>(realloc(target.get(), size));
    if (grown == nullptr) return nullptr;
    [[maybe_unused]] const char* const moved = target.release();
    target.reset(grown);
    const ssize_t length = readlink(path, grown, size);
    if (length < 0) return nullptr;
    if (static_cast<size_t>(length) == size) continue;
    grown[length] = '\0';
    return target.release();
  }
}
