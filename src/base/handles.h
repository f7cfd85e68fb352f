// handles.h: the system's resources, each named together with its release. Those of a library stand where it is
// used: JSON trees in json.h, transfers in http/easy.h, bus connections in bus/connect.h.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include "base/uncancelled.h"

namespace zel {

template <auto Release>
struct Call {
  template <class T>
  void operator()(T* resource) const noexcept {
    Release(resource);
  }
};

// For a release that may wait.
template <auto Release>
struct CallToEnd {
  template <class T>
  void operator()(T* resource) const noexcept {
    const Uncancelled uncancelled;
    Release(resource);
  }
};

template <class T>
using Memory = std::unique_ptr<T, Call<free>>;
using File = std::unique_ptr<FILE, CallToEnd<fclose>>;
using Directory = std::unique_ptr<DIR, CallToEnd<closedir>>;

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) noexcept : fd_(fd) {}
  ~Descriptor() {
    if (fd_ < 0) return;
    const Uncancelled uncancelled;
    close(fd_);
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

// The same at a number behind those of the standard streams, if one is free: what a program that was started without
// these prints would go into it.
[[nodiscard]] inline Descriptor behind_standard(Descriptor fd) noexcept {
  constexpr int kFirst = STDERR_FILENO + 1;
  if (!fd || fd.get() >= kFirst) return fd;
  Descriptor moved(fcntl(fd.get(), F_DUPFD_CLOEXEC, kFirst));
  return moved ? std::move(moved) : std::move(fd);
}

// Closes what was written to. Returns whether all of it has arrived, as far as a close can tell.
[[nodiscard]] inline bool close_written(File file) noexcept {
  const Uncancelled uncancelled;
  return fclose(file.release()) == 0;
}
[[nodiscard]] inline bool close_written(Descriptor file) noexcept {
  const Uncancelled uncancelled;
  return close(file.release()) == 0;
}

// Repeats a system call that a signal interrupted.
template <class SystemCall>
auto retry(SystemCall call) {
  decltype(call()) result;
  do {
    result = call();
  } while (result == -1 && errno == EINTR);
  return result;
}

// As fopen and openat, closed by a program that is started. Not cancelled: memory, or a descriptor that comes at the
// same moment, would be lost.
[[nodiscard]] inline File open_file(const char* path, const char* mode) noexcept {
  const Uncancelled uncancelled;
  return File(fopen(path, mode));
}
[[nodiscard]] inline Descriptor open_at(int folder, const char* path, int how, mode_t mode = 0) noexcept {
  const Uncancelled uncancelled;
  return Descriptor(retry([&] { return openat(folder, path, how | O_CLOEXEC, mode); }));
}

}  // namespace zel
