// owners.h: descriptors that close themselves, and the system calls every part of the box needs.
#pragma once
#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>
#include <utility>

#include "failure.h"

namespace routerbox {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~Descriptor() { close(); }
  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  void close() {
    if (fd_ >= 0) ::close(std::exchange(fd_, -1));
  }

 private:
  int fd_ = -1;
};

struct Pipe {
  Descriptor read, write;
};

inline Pipe make_pipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) fail_errno("cannot make a pipe");
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

template <class Call>
auto retry(Call call) {
  decltype(call()) result;
  do result = call();
  while (result == -1 && errno == EINTR);
  return result;
}

// Whether everything was written. Waits when the descriptor is non-blocking and full.
bool write_all(int fd, std::string_view text);
// Reads to the end; false and errno when reading fails.
bool read_all(int fd, std::string* text);

// These throw Failure. The mode is set whatever the umask is: other users must read what the box writes.
std::string read_file(const std::string& path, const std::string& advice = {});
void write_file(const std::string& path, const std::string& text, mode_t mode);

}  // namespace routerbox
