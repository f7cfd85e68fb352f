// sockets.h: what the client does with a socket that was made for it.
#pragma once

namespace zel::http {

// socket_connect for a socket that is there and already in non-blocking mode.
[[nodiscard]] int connect_non_blocking(int fd, const char* ip, int port, int timeout_ms);

constexpr int kNothingPresent = -1;

// Receives what has arrived. Gives what socket_recv would, or kNothingPresent.
[[nodiscard]] int receive_present(int fd, void* buffer, int length);

}  // namespace zel::http
