// Reading and writing whole files.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zel/file.h>

#include <cstdio>
#include <utility>

#include "base/handles.h"
#include "base/whole_file.h"

char* zel_get_buf_from_file(const char* path) {
  // Kept: a file that the caller may only read is refused.
  return zel::read_whole_file(path, O_RDWR).text.release();
}

int zel_save_file(const char* path, const void* bytes, size_t length) {
  if (path == nullptr || (bytes == nullptr && length != 0)) return -1;
  // Kept: not truncated, so the end of a longer old file stays.
  zel::Descriptor file = zel::open_at(AT_FDCWD, path, O_RDWR | O_CREAT, 0777);
  if (!file) return -1;
  const ssize_t written = zel::retry([&] { return write(file.get(), bytes, length); });
  const bool closed = zel::close_written(std::move(file));
  return written >= 0 && static_cast<size_t>(written) == length && closed ? 0 : -1;
}

int zel_save_string_to_file(const char* text, const char* path) {
  if (text == nullptr || path == nullptr) return -1;
  const zel::File file = zel::open_file(path, "wb+e");
  if (!file) return -1;
  fputs(text, file.get());
  return 0;  // Kept: also when the text did not reach the disk.
}
