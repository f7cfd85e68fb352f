#include "bus/frame.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>

#include "base/handles.h"

namespace {

constexpr std::size_t kHeadSize = 12;
constexpr std::size_t kHeaderSize = 8;

struct Head {
  unsigned char bytes[kHeadSize];

  bool makes_sense() const noexcept { return bytes[0] == 0 && body() >= kHeadSize - kHeaderSize; }
  // Its length has 24 bits, the most significant first, in all generations.
  std::size_t body() const noexcept {
    return std::size_t{bytes[9]} << 16 | std::size_t{bytes[10]} << 8 | std::size_t{bytes[11]};
  }
};

bool read_head(int fd, Head* head) noexcept {
  const ssize_t count = zel::retry([&] { return recv(fd, head->bytes, kHeadSize, MSG_PEEK | MSG_DONTWAIT); });
  return count == static_cast<ssize_t>(kHeadSize);
}

using Clock = std::chrono::steady_clock;

bool wait_for_input(int fd, Clock::time_point end) noexcept {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
  pollfd input{fd, POLLIN, 0};
  if (left > 0) poll(&input, 1, static_cast<int>(left));
  return left > 0;
}

bool skip(int fd, std::size_t size) noexcept {
  const Clock::time_point end = Clock::now() + std::chrono::seconds(1);
  char room[4096];
  while (size > 0) {
    const ssize_t count = recv(fd, room, std::min(size, sizeof room), MSG_DONTWAIT);
    if (count > 0) {
      size -= static_cast<std::size_t>(count);
    } else if (count == 0 || (errno != EAGAIN && errno != EINTR) || !wait_for_input(fd, end)) {
      return false;
    }
  }
  return true;
}

// Leaves nothing to be read but the end.
void end_connection(int fd) noexcept {
  shutdown(fd, SHUT_RDWR);
  char room[4096];
  while (recv(fd, room, sizeof room, MSG_DONTWAIT) > 0) continue;
}

}  // namespace

namespace zel {

void clear_bad_frames(int fd) noexcept {
  for (Head head{}; read_head(fd, &head);) {
    if (head.makes_sense() && pad(head.body()) <= kLargestBody) return;
    if (!head.makes_sense() || !skip(fd, kHeaderSize + head.body())) {
      return end_connection(fd);
    }
  }
}

}  // namespace zel
