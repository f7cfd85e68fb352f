// deadline.h: the end of a wait, and the wait.
#pragma once

#include <chrono>
#include <optional>

namespace hostbus {

class Deadline {
 public:
  static Deadline never() { return Deadline(); }
  static Deadline after(std::chrono::milliseconds wait) {
    Deadline deadline;
    deadline.end_ = std::chrono::steady_clock::now() + wait;
    return deadline;
  }

  bool is_over() const { return end_ && std::chrono::steady_clock::now() >= *end_; }
  // For poll: -1 without an end.
  int remaining_ms() const;

 private:
  Deadline() = default;
  std::optional<std::chrono::steady_clock::time_point> end_;
};

// Waits until fd is ready for `events` (POLLIN, POLLOUT), or has failed. False when the deadline passed
// first.
bool wait_for(int fd, short events, const Deadline& limit);

}  // namespace hostbus
