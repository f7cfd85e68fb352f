#include <poll.h>

#include "context.h"

namespace hostbus {
namespace {

bool is_waiting(const ubus_request* req) {
  return !list_empty(&req->list);
}

// The complete_cb of requests that a synchronous call waits for: input is read no further than its status.
void stop_reading(ubus_request* req, int) {
  req->ctx->cancel_poll = true;
}

bool is_synchronous(const ubus_request* req) {
  return req->complete_cb == stop_reading;
}

void complete(ubus_request* req, int status) {
  list_del_init(&req->list);
  req->status_msg = true;
  req->status_code = status;
  if (req->complete_cb != nullptr) req->complete_cb(req, status);
}

ubus_request* find_request(ubus_context* ctx, const Message& answer) {
  ubus_request* req = nullptr;
  list_for_each_entry(req, &ctx->requests, list) {
    if (req->seq == answer.seq && req->peer == answer.peer) return req;
  }
  return nullptr;
}

Deadline deadline_of(int timeout_ms) {
  return timeout_ms == 0 ? Deadline::never() : Deadline::after(std::chrono::milliseconds(timeout_ms));
}

int wait_for_status(ubus_context* ctx, ubus_request* req, const Deadline& limit) {
  while (!req->status_msg) {
    if (req->cancelled) return UBUS_STATUS_NO_DATA;
    if (ctx->sock.eof) return UBUS_STATUS_CONNECTION_FAILED;
    if (limit.passed() || !wait_for(ctx->sock.fd, POLLIN, limit)) return UBUS_STATUS_TIMEOUT;
    ctx->cancel_poll = false;
    process_input(ctx, limit);
  }
  return req->status_code;
}

// The outermost synchronous call is over: what came in meanwhile has its turn.
void serve_queued(ubus_context* ctx) {
  if (ctx->stack_depth > 0 || list_empty(&ctx->pending)) return;
  if (ctx->sock.registered) {
    uloop_timeout_set(&ctx->pending_timer, 1);
  } else {
    run_queued(ctx);
  }
}

bool start(ubus_context* ctx, const Request& request, ubus_request* req) {
  memset(req, 0, sizeof(*req));
  INIT_LIST_HEAD(&req->list);
  INIT_LIST_HEAD(&req->pending);
  req->ctx = ctx;
  req->fd = -1;
  req->peer = request.peer;
  req->seq = ++ctx->request_seq;
  req->raw_data_cb = request.raw_data_cb;
  req->data_cb = request.data_cb;
  req->priv = request.priv;
  return send_message(ctx, request.type, req->seq, req->peer, request.body) == Sent::kYes;
}

int complete_synchronously(ubus_context* ctx, ubus_request* req, int timeout_ms) noexcept {
  const ubus_complete_handler_t complete_cb = req->complete_cb;
  ubus_complete_request_async(ctx, req);
  req->complete_cb = stop_reading;
  int status = 0;
  {
    const Busy busy(ctx);
    status = wait_for_status(ctx, req, deadline_of(timeout_ms));
  }
  list_del_init(&req->list);
  req->complete_cb = complete_cb;
  ctx->cancel_poll = true;
  if (complete_cb != nullptr) complete_cb(req, status);
  serve_queued(ctx);
  return status;
}

void put_call(Builder* body, uint32_t obj, const char* method, const blob_attr* msg) {
  body->put_u32(UBUS_ATTR_OBJID, obj);
  body->put_string(UBUS_ATTR_METHOD, method);
  body->put_contents(UBUS_ATTR_DATA, msg);
}

}  // namespace

int call(ubus_context* ctx, const Request& request) noexcept {
  ubus_request req;
  if (!start(ctx, request, &req)) return UBUS_STATUS_INVALID_ARGUMENT;
  return complete_synchronously(ctx, &req, request.timeout_ms);
}

void receive_status(ubus_context* ctx, const Message& message) {
  ubus_request* req = find_request(ctx, message);
  if (req == nullptr) return;
  const Attributes attributes = parse_attributes(message.body());
  const blob_attr* status = attributes[UBUS_ATTR_STATUS];
  complete(req, status == nullptr ? UBUS_STATUS_INVALID_ARGUMENT : blob_get_int32(status));
}

void receive_data(ubus_context* ctx, const Message& message) {
  ubus_request* req = find_request(ctx, message);
  if (req == nullptr) return;
  if (req->raw_data_cb != nullptr) req->raw_data_cb(req, UBUS_MSG_DATA, message.body());
  if (req->data_cb == nullptr) return;
  const Attributes attributes = parse_attributes(message.body());
  if (attributes[UBUS_ATTR_DATA] != nullptr) req->data_cb(req, UBUS_MSG_DATA, attributes[UBUS_ATTR_DATA]);
}

void end_requests(ubus_context* ctx, Which which) {
  // A list of its own: callbacks may start and abort requests.
  list_head ended;
  INIT_LIST_HEAD(&ended);
  ubus_request* req = nullptr;
  ubus_request* following = nullptr;
  list_for_each_entry_safe(req, following, &ctx->requests, list) {
    if (which == Which::kAsynchronous && is_synchronous(req)) continue;
    list_del(&req->list);
    list_add_tail(&req->list, &ended);
  }
  while (!list_empty(&ended)) {
    complete(list_first_entry(&ended, ubus_request, list), UBUS_STATUS_TIMEOUT);
  }
}

}  // namespace hostbus

using namespace hostbus;

extern "C" {

int ubus_invoke_async(ubus_context* ctx, uint32_t obj, const char* method, blob_attr* msg,
                      ubus_request* req) {
  Builder body;
  put_call(&body, obj, method, msg);
  const bool sent = start(ctx, {.type = UBUS_MSG_INVOKE, .peer = obj, .body = body.body()}, req);
  return sent ? UBUS_STATUS_OK : UBUS_STATUS_INVALID_ARGUMENT;
}

int ubus_invoke_fd(ubus_context* ctx, uint32_t obj, const char* method, blob_attr* msg,
                   ubus_data_handler_t cb, void* priv, int timeout, int fd) {
  if (fd >= 0) return UBUS_STATUS_NOT_SUPPORTED;
  Builder body;
  put_call(&body, obj, method, msg);
  return call(ctx, {.type = UBUS_MSG_INVOKE,
                    .peer = obj,
                    .body = body.body(),
                    .data_cb = cb,
                    .priv = priv,
                    .timeout_ms = timeout});
}

int ubus_complete_request(ubus_context* ctx, ubus_request* req, int timeout) {
  return complete_synchronously(ctx, req, timeout);
}

void ubus_complete_request_async(ubus_context* ctx, ubus_request* req) {
  if (!is_waiting(req)) list_add_tail(&req->list, &ctx->requests);
}

void ubus_abort_request(ubus_context*, ubus_request* req) {
  req->cancelled = true;
  list_del_init(&req->list);
}

}  // extern "C"
