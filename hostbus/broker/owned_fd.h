#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace hostbus {

// A descriptor that is closed with its owner; -1 owns nothing.
class OwnedFd {
 public:
  OwnedFd() = default;
  explicit OwnedFd(int fd) : fd_(fd) {}
  ~OwnedFd() { reset(); }
  OwnedFd(OwnedFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  OwnedFd& operator=(OwnedFd&& other) noexcept {
    if (this != &other) {
      reset();
      fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
  }
  OwnedFd(const OwnedFd&) = delete;
  OwnedFd& operator=(const OwnedFd&) = delete;

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }

 private:
  void reset() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
  }

  int fd_ = -1;
};

// Repeats a system call that a signal interrupted.
template <class Call>
auto retry(Call call) {
  decltype(call()) result;
  do result = call();
  while (result == -1 && errno == EINTR);
  return result;
}

}  // namespace hostbus
