// Sockets that connect and receive within a time.
#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zel/http_raw.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

bool selectable(int fd) {
  return fd >= 0 && fd < FD_SETSIZE;
}

// A negative time stays one, which select refuses.
timeval seconds_of(int ms) {
  return {ms / 1000, (ms % 1000) * 1000};
}

constexpr int kNotSelectable = -1;  // as select fails

int select_writable(int fd, int timeout_ms) {
  if (!selectable(fd)) return kNotSelectable;
  fd_set set;
  FD_ZERO(&set);
  FD_SET(fd, &set);
  timeval time = seconds_of(timeout_ms);
  return select(fd + 1, nullptr, &set, nullptr, &time);
}

int time_left(Clock::time_point deadline) {
  const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
  return static_cast<int>(std::max(left, milliseconds(0)).count());
}

int select_readable(int fd, int timeout_ms, fd_set* readable) {
  if (!selectable(fd)) return kNotSelectable;
  const auto deadline = Clock::now() + milliseconds(timeout_ms);
  for (int left_ms = timeout_ms;; left_ms = time_left(deadline)) {
    FD_ZERO(readable);
    FD_SET(fd, readable);
    fd_set urgent = *readable;
    timeval time = seconds_of(left_ms);
    const int ready = select(fd + 1, readable, nullptr, &urgent, &time);
    if (ready >= 0 || errno != EINTR) return ready;
  }
}

// 0 when there is something to receive, else the code of socket_recv.
int wait_for_data(int fd, int timeout_ms) {
  fd_set readable;
  const int ready = select_readable(fd, timeout_ms, &readable);
  if (ready < 0) return -2;
  if (ready == 0) return -3;
  return FD_ISSET(fd, &readable) ? 0 : -4;
}

bool is_room(int fd, const void* buffer, int length) {
  return fd >= 0 && buffer != nullptr && length >= 0;
}

int receive(int fd, char* buffer, int length) {
  return static_cast<int>(recv(fd, buffer, static_cast<size_t>(length), 0));
}

}  // namespace

int socket_create(int domain, int type) {
  return socket(domain, type | SOCK_CLOEXEC, 0);
}

int socket_connect(int fd, const char* ip, int port, int timeout_ms) {
  if (fd < 0 || ip == nullptr) return -1;
  fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = inet_addr(ip);
  address.sin_port = htons(static_cast<uint16_t>(port));
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return 0;
  if (errno != EINPROGRESS) return -2;

  const int ready =
      select_writable(fd, timeout_ms);  // Kept: an interrupted wait fails here, unlike in socket_recv.
  if (ready < 0) return -3;
  if (ready == 0) return 1;
  int error = 0;
  socklen_t size = sizeof error;
  if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) != 0) return -4;
  return error != 0 ? error - 100 : 0;
}

int socket_send(int fd, const void* data, int length, int flags) {
  if (length < 0) {
    errno = EINVAL;
    return -1;
  }
  return static_cast<int>(send(fd, data, static_cast<size_t>(length), flags | MSG_NOSIGNAL));
}

int socket_recv(int fd, void* buffer, int length, int timeout_ms) {
  if (!is_room(fd, buffer, length)) return -1;
  if (timeout_ms == 0) return -4;  // no wait, so it is not known whether there is anything
  if (const int code = wait_for_data(fd, timeout_ms); code != 0) return code;
  const int count = receive(fd, static_cast<char*>(buffer), length);
  return count < 0 ? count - 10 : count;
}

int socket_recv2(int fd, void* buffer, int length, int timeout_ms) {
  if (!is_room(fd, buffer, length)) return -1;
  if (timeout_ms == 0) return 0;
  int total = 0;
  while (total < length) {
    if (const int code = wait_for_data(fd, timeout_ms); code != 0) return code;
    const int count = receive(fd, static_cast<char*>(buffer) + total, length - total);
    if (count < 1) return count - 10;
    total += count;
  }
  return total;
}

int socket_close(int fd) {
  return close(fd);
}
