// context.h: what the parts of the client share about a connection.
#pragma once

#include <libubus.h>
#include <optional>
#include <utility>

#include "message.h"

// The private part of a context.
struct ubus_context_state {
  hostbus::FrameReader reader;
};

namespace hostbus {

// A synchronous call in progress or a running handler: incoming calls are queued meanwhile.
class Busy {
 public:
  explicit Busy(ubus_context* ctx) : ctx_(ctx) { ++ctx_->stack_depth; }
  ~Busy() { --ctx_->stack_depth; }
  Busy(const Busy&) = delete;
  Busy& operator=(const Busy&) = delete;

 private:
  ubus_context* ctx_;
};

// --- connection.cpp

// Sends one message; a failed write ends the connection.
Sent send_message(ubus_context* ctx, ubus_msg_type type, uint16_t seq, uint32_t peer, const blob_attr* body);

// What sock.cb does; the middle of a frame is waited for until `limit`. Callbacks of the application run in
// here. Their exceptions have no way back through C callers and end the program.
void process_input(ubus_context* ctx, const Deadline& limit) noexcept;

// Runs the queued calls unless the context is busy.
void run_queued(ubus_context* ctx) noexcept;

// --- queue.cpp: the calls in ctx->pending, which wait until the context is no longer busy

// Without memory the call is lost, and its caller times out.
void queue(ubus_context* ctx, Message message);
std::optional<Message> take_queued(ubus_context* ctx);  // the oldest
void forget_queued(ubus_context* ctx);

// --- request.cpp

struct Request {
  ubus_msg_type type;
  uint32_t peer;
  const blob_attr* body;
  ubus_data_handler_t raw_data_cb = nullptr;
  ubus_data_handler_t data_cb = nullptr;
  void* priv = nullptr;
  int timeout_ms = 0;
};

// Sends a request and waits for its status.
int call(ubus_context* ctx, const Request& request) noexcept;

// Incoming STATUS and DATA.
void receive_status(ubus_context* ctx, const Message& message);
void receive_data(ubus_context* ctx, const Message& message);

// --- dispatch.cpp

ubus_object* find_object(const ubus_context* ctx, uint32_t id);

// An incoming INVOKE.
void serve_invoke(ubus_context* ctx, const Message& message);

}  // namespace hostbus
