#include "context.h"

namespace hostbus {
namespace {

const ubus_method* find_method(const ubus_object* obj, const char* name) {
  for (int i = 0; i < obj->n_methods; ++i) {
    const ubus_method& method = obj->methods[i];
    if (method.name == nullptr || strcmp(method.name, name) == 0) return &method;
  }
  return nullptr;
}

const char* text_or_null(const blob_attr* attr) {
  return attr == nullptr ? nullptr : blob_get_string(attr);
}

int run_handler(ubus_context* ctx, ubus_object* obj, ubus_request_data* req, const Attributes& attributes) {
  const char* name = blob_get_string(attributes[UBUS_ATTR_METHOD]);
  const ubus_method* method = find_method(obj, name);
  if (method == nullptr || method->handler == nullptr) return UBUS_STATUS_METHOD_NOT_FOUND;
  if (attributes[UBUS_ATTR_DATA] == nullptr) return UBUS_STATUS_INVALID_ARGUMENT;
  const Busy busy(ctx);
  return method->handler(ctx, obj, req, name, attributes[UBUS_ATTR_DATA]);
}

void send_status(ubus_context* ctx, const ubus_request_data& req, int status) {
  Builder body;
  body.put_u32(UBUS_ATTR_STATUS, static_cast<uint32_t>(status));
  body.put_u32(UBUS_ATTR_OBJID, req.object);
  send_message(ctx, UBUS_MSG_STATUS, req.seq, req.peer, body.body());
}

}  // namespace

void serve_invoke(ubus_context* ctx, const Message& message) {
  const Attributes attributes = parse_attributes(message.body());
  const blob_attr* id = attributes[UBUS_ATTR_OBJID];
  ubus_object* obj = id == nullptr ? nullptr : find_object(ctx, blob_get_u32(id));
  ubus_request_data req{};
  req.peer = message.peer;
  req.seq = message.seq;
  req.fd = req.req_fd = -1;
  int status = UBUS_STATUS_NOT_FOUND;
  // Kept: without object or method the answer names object 0, so the broker drops it and the caller gets
  // nothing.
  if (obj != nullptr && attributes[UBUS_ATTR_METHOD] == nullptr) status = UBUS_STATUS_INVALID_ARGUMENT;
  if (obj != nullptr && attributes[UBUS_ATTR_METHOD] != nullptr) {
    req.object = obj->id;
    req.acl = {.user = text_or_null(attributes[UBUS_ATTR_USER]),
               .group = text_or_null(attributes[UBUS_ATTR_GROUP]),
               .object = obj->name};
    status = run_handler(ctx, obj, &req, attributes);
  }
  const blob_attr* no_reply = attributes[UBUS_ATTR_NO_REPLY];
  if (no_reply != nullptr && blob_get_u8(no_reply) != 0) return;
  send_status(ctx, req, status);
}

}  // namespace hostbus

using namespace hostbus;

extern "C" {

int ubus_send_reply(ubus_context* ctx, ubus_request_data* req, blob_attr* msg) {
  Builder body;
  body.put_u32(UBUS_ATTR_OBJID, req->object);
  body.put_contents(UBUS_ATTR_DATA, msg);
  switch (send_message(ctx, UBUS_MSG_DATA, req->seq, req->peer, body.body())) {
    case Sent::kYes:
      return UBUS_STATUS_OK;
    case Sent::kTooLarge:
      // The broker would cut the service off for it.
      return UBUS_STATUS_INVALID_ARGUMENT;
    case Sent::kBroken:
      break;
  }
  return UBUS_STATUS_NO_DATA;
}

}  // extern "C"
