// client.h: what tests of the client libraries share.
#pragma once

#include <libubus.h>
#include <poll.h>

#include <memory>
#include <string>

namespace test {

using Context = std::unique_ptr<ubus_context, decltype(&ubus_free)>;

inline Context connect_to(const std::string& path) {
  return {ubus_connect(path.c_str()), ubus_free};
}

// Waits until the client's socket has input; false after ten seconds.
inline bool wait_input(ubus_context* ctx) {
  pollfd polled{.fd = ctx->sock.fd, .events = POLLIN, .revents = 0};
  return poll(&polled, 1, 10000) > 0;
}

// A blob_buf that frees itself.
class Message {
 public:
  Message() { blob_buf_init(&buf_, 0); }
  ~Message() { blob_buf_free(&buf_); }
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;
  operator blob_buf*() { return &buf_; }
  blob_attr* head() { return buf_.head; }

 private:
  blob_buf buf_{};
};

}  // namespace test
