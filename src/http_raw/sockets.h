// sockets.h: what the client does with a socket that was made for it.
#pragma once

namespace zel::http {

// socket_connect for a socket that is there and already in non-blocking mode.
int connect_non_blocking(int fd, const char* ip, int port, int timeout_ms) noexcept;

constexpr int kNothingPresent = -1;

// Receives what has arrived. Gives what socket_recv would, or kNothingPresent.
int receive_present(int fd, void* buffer, int length) noexcept;

}  // namespace zel::http
