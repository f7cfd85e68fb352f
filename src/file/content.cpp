// Reading and writing whole files.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zel/file.h>

#include "file/whole_file.h"

namespace zel {

WholeFile read_whole_file(const char* path) {
  // Kept: a file that the caller may only read is refused. A FIFO opened so waits for nobody, and has no end.
  const File file(path != nullptr ? fopen(path, "rb+e") : nullptr);
  if (!file || fseeko(file.get(), 0, SEEK_END) != 0) return {};
  const off_t end = ftello(file.get());
  if (end < 0 || static_cast<uint64_t>(end) >= SIZE_MAX) return {};
  Memory<char> text(static_cast<char*>(calloc(static_cast<size_t>(end) + 1, 1)));
  if (!text) return {};
  rewind(file.get());
  // Less than that if the file shrank meanwhile.
  const size_t size = fread(text.get(), 1, static_cast<size_t>(end), file.get());
  return {std::move(text), size};
}

}  // namespace zel

char* zel_get_buf_from_file(const char* path) {
  return zel::read_whole_file(path).text.release();
}

int zel_save_file(const char* path, const void* bytes, size_t length) {
  if (path == nullptr || (bytes == nullptr && length != 0)) return -1;
  // Kept: not truncated, so the end of a longer old file stays.
  zel::Descriptor file(open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0777));
  if (!file) return -1;
  const ssize_t written = zel::retry([&] { return write(file.get(), bytes, length); });
  const bool closed = zel::close_written(std::move(file));
  return written >= 0 && static_cast<size_t>(written) == length && closed ? 0 : -1;
}

int zel_save_string_to_file(const char* text, const char* path) {
  if (text == nullptr || path == nullptr) return -1;
  const zel::File file(fopen(path, "wb+e"));
  if (!file) return -1;
  fputs(text, file.get());
  return 0;  // Kept: also when the text did not reach the disk.
}
