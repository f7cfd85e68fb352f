// fake_broker.h: a broker played by a test, frame by frame, for the real client library.
#pragma once

#include <libubus.h>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "../support/wire_capture.h"

namespace fake {

using wire::Bytes;
using Fill = std::function<void(blob_buf*)>;  // adds a frame's message attributes

// A frame written by hand.
Bytes frame(int type, uint16_t seq, uint32_t peer, const Fill& fill = {});
// The answers of a broker, or of a service, to a request.
Bytes status(const Bytes& request, int code);
Bytes data(const Bytes& request, const Fill& fill);
// A call, as a service gets it; `object` is called by the client `caller`.
Bytes invoke(uint16_t seq, uint32_t caller, uint32_t object, const char* method);

int type_of(const Bytes& frame);
uint16_t seq_of(const Bytes& frame);
uint32_t peer_of(const Bytes& frame);
Bytes operator+(Bytes first, const Bytes& second);

// A wait in the script or in the test takes at most ten seconds; then the test fails.
class Broker {
 public:
  // The script runs on a thread of its own, once a client has connected and been greeted.
  using Script = std::function<void(Broker&)>;
  explicit Broker(Script script, Bytes greeting = frame(UBUS_MSG_HELLO, 0, 0x9dcef7a9));
  ~Broker();
  Broker(const Broker&) = delete;
  Broker& operator=(const Broker&) = delete;

  const std::string& path() const { return path_; }

  // Waits for the script's end.
  void finish();

  // For the script.
  Bytes read();  // the next frame; empty at the end of the connection
  void write(const Bytes& bytes);
  void hang_up();

 private:
  void accept_client();
  bool receive(uint8_t* to, size_t size);

  std::string folder_;
  std::string path_;
  Bytes greeting_;
  int listener_ = -1;
  int client_ = -1;
  std::thread thread_;
};

using Context = std::unique_ptr<ubus_context, decltype(&ubus_free)>;
Context connect(const Broker& broker);

// Waits until the client's socket has input; false after ten seconds.
bool wait_input(ubus_context* ctx);

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

}  // namespace fake
