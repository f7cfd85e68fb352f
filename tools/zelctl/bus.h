// bus.h: the bus as zelctl itself uses it: to look at it, and to say why a call of the library's came to nothing.
#pragma once
#include <string>

#include "bus/libubus.h"
#include "handles.h"
#include "json.h"

namespace zelctl {

using BusLink = std::unique_ptr<ubus_context, GivenBackBy<ubus_free>>;

// Fails if there is no broker, if it stays silent, or if it sends the caller away.
BusLink connect_bus();

// The library's zel_service_init_dbg, whose connecting has no limit of its own. Fails if the broker stays silent.
int start_service(const char* name);

// 0 with the object's number, or a status of the bus. A lookup can succeed without a number, for users that may see
// nothing: that is UBUS_STATUS_PERMISSION_DENIED here.
int look_up(ubus_context* bus, const char* object, uint32_t* id);
int look_up(const char* object);

// Fails for a status that is not 0. `what` came to nothing: "zel_2001 send_cmd".
void require_success(int status, const char* what);

class Message {
 public:
  Message();
  ~Message() { blob_buf_free(&buffer_); }
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;
  blob_buf* buffer() { return &buffer_; }
  blob_attr* data() { return buffer_.head; }
  // Adds an object's members, or an array's elements. Fails for what a message cannot hold.
  void add(const cJSON* object);

 private:
  blob_buf buffer_{};
};

// The fields of a message, which may be null, as the members of an object.
void add_fields(cJSON* object, const blob_attr* message);

}  // namespace zelctl
