#include <poll.h>

#include "context.h"

namespace hostbus {
namespace {

void complete(ubus_request* req, int status) {
  list_del_init(&req->list);
  req->status_msg = true;
  req->status_code = status;
  // Input is read no further than the status that the call waits for.
  req->ctx->cancel_poll = true;
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
    if (ctx->sock.eof) return UBUS_STATUS_CONNECTION_FAILED;
    if (limit.is_over() || !wait_for(ctx->sock.fd, POLLIN, limit)) return UBUS_STATUS_TIMEOUT;
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

}  // namespace

int call(ubus_context* ctx, const Request& request) noexcept {
  ubus_request req;
  if (!start(ctx, request, &req)) return UBUS_STATUS_INVALID_ARGUMENT;
  list_add_tail(&req.list, &ctx->requests);
  int status = 0;
  {
    const Busy busy(ctx);
    status = wait_for_status(ctx, &req, deadline_of(request.timeout_ms));
  }
  list_del_init(&req.list);
  ctx->cancel_poll = true;
  serve_queued(ctx);
  return status;
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

}  // namespace hostbus

using namespace hostbus;

extern "C" {

int ubus_invoke_fd(ubus_context* ctx, uint32_t obj, const char* method, blob_attr* msg,
                   ubus_data_handler_t cb, void* priv, int timeout, int fd) {
  if (fd >= 0) return UBUS_STATUS_NOT_SUPPORTED;
  Builder body;
  body.put_u32(UBUS_ATTR_OBJID, obj);
  body.put_string(UBUS_ATTR_METHOD, method);
  body.put_contents(UBUS_ATTR_DATA, msg);
  return call(ctx, {.type = UBUS_MSG_INVOKE,
                    .peer = obj,
                    .body = body.body(),
                    .data_cb = cb,
                    .priv = priv,
                    .timeout_ms = timeout});
}

int __ubus_monitor(ubus_context* ctx, const char* type) {
  return ubus_invoke(ctx, UBUS_SYSTEM_OBJECT_MONITOR, type, nullptr, nullptr, nullptr, 1000);
}

}  // extern "C"
