#include <fcntl.h>
#include <unistd.h>
#include <zel/service.h>

#include <cstdio>
#include <cstring>

#include "base/handles.h"

int zel_store_pid(const char* path) {
  // Without close-on-exec: a plug-in that replaces its program keeps its place.
  zel::Descriptor file(open(path, O_RDWR | O_CREAT, 0777));
  if (!file) return -1;

  struct flock whole_file {};
  whole_file.l_type = F_WRLCK;
  whole_file.l_whence = SEEK_SET;
  if (fcntl(file.get(), F_SETLK, &whole_file) != 0) return -1;

  char text[32];
  const auto length = static_cast<size_t>(snprintf(text, sizeof text, "%d", static_cast<int>(getpid())));
  // The lock lives as long as the descriptor, which therefore stays open until the process ends.
  const ssize_t written = zel::retry([&, fd = file.release()] { return pwrite(fd, text, length, 0); });
  return written == static_cast<ssize_t>(length) ? 0 : -1;
}
