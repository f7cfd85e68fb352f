#include "context.h"

namespace hostbus {
namespace {

int deliver(ubus_context* ctx, ubus_object* obj, ubus_request_data*, const char* method, blob_attr* msg) {
  ubus_event_handler* ev = container_of(obj, ubus_event_handler, obj);
  if (ev->cb != nullptr) ev->cb(ctx, ev, method, msg);
  return UBUS_STATUS_OK;
}

// Takes calls of any name: an event arrives as a call named after it.
constexpr ubus_method kAnyEvent[] = {UBUS_METHOD_NOARG(nullptr, deliver)};

// Arguments of a call to the broker's event object.
class Arguments {
 public:
  Arguments() { blob_buf_init(&buf_, 0); }
  ~Arguments() { blob_buf_free(&buf_); }
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;

  blob_buf* buf() { return &buf_; }
  blob_attr* message() { return buf_.head; }

 private:
  blob_buf buf_{};
};

}  // namespace
}  // namespace hostbus

using namespace hostbus;

extern "C" {

int ubus_register_event_handler(ubus_context* ctx, ubus_event_handler* ev, const char* pattern) {
  if (ev->obj.id == 0) {
    ev->obj.methods = kAnyEvent;
    ev->obj.n_methods = ARRAY_SIZE(kAnyEvent);
    const int status = ubus_add_object(ctx, &ev->obj);
    if (status != UBUS_STATUS_OK) return status;
  }
  Arguments arguments;
  if (blobmsg_add_u32(arguments.buf(), "object", ev->obj.id) != 0) return UBUS_STATUS_NO_MEMORY;
  // A null pattern is left out and refused by the broker.
  if (pattern != nullptr && blobmsg_add_string(arguments.buf(), "pattern", pattern) != 0) {
    return UBUS_STATUS_INVALID_ARGUMENT;
  }
  return ubus_invoke(ctx, UBUS_SYSTEM_OBJECT_EVENT, "register", arguments.message(), nullptr, nullptr, 0);
}

int ubus_send_event(ubus_context* ctx, const char* id, blob_attr* data) {
  if (id == nullptr || data == nullptr) return UBUS_STATUS_INVALID_ARGUMENT;
  Arguments arguments;
  if (blobmsg_add_string(arguments.buf(), "id", id) != 0 ||
      blobmsg_add_field(arguments.buf(), BLOBMSG_TYPE_TABLE, "data", blob_data(data),
                        static_cast<unsigned>(blob_len(data))) != 0) {
    return UBUS_STATUS_INVALID_ARGUMENT;
  }
  return ubus_invoke(ctx, UBUS_SYSTEM_OBJECT_EVENT, "send", arguments.message(), nullptr, nullptr, 0);
}

}  // extern "C"
