#include "io.h"

#include <poll.h>
#include <sys/stat.h>

namespace routerbox {

bool write_all(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = retry([&] { return write(fd, text.data(), text.size()); });
    if (written < 0 && errno != EAGAIN) return false;
    if (written < 0) {
      pollfd writable{fd, POLLOUT, 0};
      retry([&] { return poll(&writable, 1, -1); });
      continue;
    }
    text.remove_prefix(static_cast<size_t>(written));
  }
  return true;
}

bool read_all(int fd, std::string* text) {
  char block[4096];
  while (true) {
    const ssize_t count = retry([&] { return read(fd, block, sizeof block); });
    if (count <= 0) return count == 0;
    text->append(block, static_cast<size_t>(count));
  }
}

std::string read_file(const std::string& path, const std::string& advice) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  std::string text;
  if (!file || !read_all(file.get(), &text)) fail_errno("cannot read " + path, advice);
  return text;
}

void write_file(const std::string& path, const std::string& text, mode_t mode) {
  const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode));
  if (!file || fchmod(file.get(), mode) != 0 || !write_all(file.get(), text))
    fail_errno("cannot write " + path);
}

void make_folder(const std::string& path, mode_t mode) {
  if (mkdir(path.c_str(), mode) != 0 || chmod(path.c_str(), mode) != 0) fail_errno("cannot make " + path);
}

}  // namespace routerbox
