#include "deadline.h"

#include <poll.h>
#include <algorithm>
#include <cerrno>
#include <climits>

namespace hostbus {

int Deadline::remaining_ms() const {
  if (!end_) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end_ - std::chrono::steady_clock::now());
  return static_cast<int>(std::clamp<long long>(left.count(), 0, INT_MAX));
}

bool wait_for(int fd, short events, const Deadline& limit) {
  pollfd polled{.fd = fd, .events = events, .revents = 0};
  while (true) {
    const int ready = poll(&polled, 1, limit.remaining_ms());
    // A poll that fails for good must not turn into a loop: the read or write that follows reports it.
    if (ready > 0 || (ready < 0 && errno != EINTR)) return true;
    if (limit.is_over()) return false;
  }
}

}  // namespace hostbus
