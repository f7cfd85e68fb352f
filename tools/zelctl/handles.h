// handles.h: what is lent, each named together with how it is given back.
#pragma once
#include <dirent.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <utility>

namespace zelctl {

template <auto GiveBack>
struct GivenBackBy {
  template <class T>
  void operator()(T* lent) const {
    GiveBack(lent);
  }
};

using File = std::unique_ptr<std::FILE, GivenBackBy<std::fclose>>;
using Folder = std::unique_ptr<DIR, GivenBackBy<closedir>>;

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() { reset(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  void reset() {
    if (fd_ != -1) close(std::exchange(fd_, -1));
  }
  int get() const { return fd_; }

 private:
  int fd_;
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

}  // namespace zelctl
