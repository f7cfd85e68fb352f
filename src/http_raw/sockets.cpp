// Sockets that connect and receive within a time.
#include "http_raw/sockets.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zel/http_raw.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "base/handles.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int kReceiveFailed = 10;  // taken from what recv gave

// Kept: what select cannot wait for fails, although poll could.
bool waitable(int fd, int timeout_ms) {
  return fd < FD_SETSIZE && timeout_ms >= 0;
}

// Waits for some of these events of poll. Gives what came, 0 when the time is over, -1 with errno for a failure.
int wait_for(int events, int fd, int timeout_ms) {
  pollfd wait = {fd, static_cast<short>(events), 0};
  const int ready = poll(&wait, 1, timeout_ms);
  if (ready <= 0) return ready;
  if ((wait.revents & POLLNVAL) == 0) return wait.revents;
  errno = EBADF;
  return -1;
}

int time_left(Clock::time_point deadline) {
  const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
  return static_cast<int>(std::max(left, milliseconds(0)).count());
}

// 0 when there is something to receive, else the code of socket_recv.
int wait_for_data(int fd, int timeout_ms) {
  if (!waitable(fd, timeout_ms)) return -2;
  const auto deadline = Clock::now() + milliseconds(timeout_ms);
  const int came = zel::retry([&] { return wait_for(POLLIN | POLLPRI, fd, time_left(deadline)); });
  if (came < 0) return -2;
  if (came == 0) return -3;
  return came == POLLPRI ? -4 : 0;
}

bool is_room(int fd, const void* buffer, int length) {
  return fd >= 0 && buffer != nullptr && length >= 0;
}

int receive(int fd, char* buffer, int length, int flags) {
  return static_cast<int>(recv(fd, buffer, static_cast<size_t>(length), flags));
}

}  // namespace

int socket_create(int domain, int type) {
  return socket(domain, type | SOCK_CLOEXEC, 0);
}

int zel::http::connect_non_blocking(int fd, const char* ip, int port, int timeout_ms) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = inet_addr(ip);
  address.sin_port = htons(static_cast<uint16_t>(port));
  const auto state = [&] {
    return connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? 0 : errno;
  };
  const int begun = state();
  if (begun != EINPROGRESS) return begun == 0 ? 0 : -2;
  if (!waitable(fd, timeout_ms)) return -3;
  // Within the machine the peer has answered by now; to ask costs less than to wait.
  const int now = state();
  if (now != EALREADY) return now == 0 ? 0 : now - 100;

  // Kept: an interrupted wait fails here, unlike in socket_recv.
  const int came = wait_for(POLLOUT, fd, timeout_ms);
  if (came < 0) return -3;
  if (came == 0) return 1;
  int error = 0;
  socklen_t size = sizeof error;
  if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) != 0) return -4;
  return error != 0 ? error - 100 : 0;
}

int zel::http::receive_present(int fd, void* buffer, int length) {
  const int count = receive(fd, static_cast<char*>(buffer), length, MSG_DONTWAIT);
  if (count >= 0) return count;
  return errno == EAGAIN ? kNothingPresent : count - kReceiveFailed;
}

int socket_connect(int fd, const char* ip, int port, int timeout_ms) {
  if (fd < 0 || ip == nullptr) return -1;
  fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
  return zel::http::connect_non_blocking(fd, ip, port, timeout_ms);
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
  const int count = receive(fd, static_cast<char*>(buffer), length, 0);
  return count < 0 ? count - kReceiveFailed : count;
}

int socket_recv2(int fd, void* buffer, int length, int timeout_ms) {
  if (!is_room(fd, buffer, length)) return -1;
  if (timeout_ms == 0) return 0;
  int total = 0;
  while (total < length) {
    if (const int code = wait_for_data(fd, timeout_ms); code != 0) return code;
    const int count = receive(fd, static_cast<char*>(buffer) + total, length - total, 0);
    if (count < 1) return count - kReceiveFailed;
    total += count;
  }
  return total;
}

int socket_close(int fd) {
  return close(fd);
}
