// handles.h: the system's resources, each named together with its release. Those of a library stand where it is
// used: JSON trees in json.h, transfers in http/easy.h, bus connections in bus/connect.h.
#pragma once

#include <dirent.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

namespace zel {

template <auto Release>
struct Call {
  template <class T>
  void operator()(T* resource) const noexcept {
    Release(resource);
  }
};

template <class T>
using Memory = std::unique_ptr<T, Call<free>>;
using File = std::unique_ptr<FILE, Call<fclose>>;
using Directory = std::unique_ptr<DIR, Call<closedir>>;

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) noexcept : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  Descriptor(Descriptor&& other) noexcept : fd_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  explicit operator bool() const noexcept { return fd_ >= 0; }
  int get() const noexcept { return fd_; }
  int release() noexcept { return std::exchange(fd_, -1); }

 private:
  int fd_ = -1;
};

// Repeats a system call that a signal interrupted.
template <class SystemCall>
auto retry(SystemCall call) {
  decltype(call()) result;
  do {
    result = call();
  } while (result == -1 && errno == EINTR);
  return result;
}

}  // namespace zel
