#include "base/whole_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

namespace {

// Fewer than `size` bytes if the file ends before, as it does when it shrank meanwhile.
size_t read_bytes(int fd, char* bytes, size_t size) {
  size_t done = 0;
  while (done < size) {
    const ssize_t count = zel::retry([&] { return read(fd, bytes + done, size - done); });
    if (count <= 0) break;
    done += static_cast<size_t>(count);
  }
  return done;
}

}  // namespace

namespace zel {

WholeFile read_whole_file(const char* path, int access, size_t most) {
  constexpr int kHow = O_NONBLOCK | O_NOCTTY;  // Only a regular file has a length, and it never blocks.
  const Descriptor file = path != nullptr ? open_at(AT_FDCWD, path, access | kHow) : Descriptor();
  if (!file) return {nullptr, 0, FileFault::kNotOpened};
  const off_t length = lseek(file.get(), 0, SEEK_END);
  if (length < 0 || lseek(file.get(), 0, SEEK_SET) != 0) return {nullptr, 0, FileFault::kNoLength};
  if (static_cast<uint64_t>(length) > most) return {nullptr, 0, FileFault::kTooLong};

  const auto size = static_cast<size_t>(length);
  WholeFile whole;
  whole.text.reset(static_cast<char*>(calloc(size + 1, 1)));
  if (!whole.text) return {nullptr, 0, FileFault::kNoMemory};
  whole.size = read_bytes(file.get(), whole.text.get(), size);
  if (whole.size < size) whole.fault = FileFault::kShort;
  return whole;
}

}  // namespace zel
