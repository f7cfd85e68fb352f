// One message to another plug-in's object, on a connection of its own.
#include <zel/cloud.h>

#include <cstdio>
#include <cstring>

#include "base/handles.h"
#include "base/log.h"
#include "bus/connect.h"
#include "bus/frame.h"

namespace {

constexpr int kReplyTimeoutMs = 8000;
constexpr size_t kNameSize = 64;
// What stands in the frame's body around a message: its length, the object's id, and the method's name.
constexpr size_t kAroundMessage = 4 + 8 + 16;

constexpr blobmsg_policy kReplyPolicy[] = {{.name = "description", .type = BLOBMSG_TYPE_STRING}};

using Answer = zel::Memory<char>;

void take_answer(ubus_request* request, int, blob_attr* reply) {
  if (reply == nullptr) return;
  blob_attr* description = nullptr;
  blobmsg_parse(kReplyPolicy, 1, &description, blob_data(reply), static_cast<unsigned int>(blob_len(reply)));
  if (description == nullptr) return;
  static_cast<Answer*>(request->priv)->reset(strdup(blobmsg_get_string(description)));
}

// Calls the target's object. The answer may come although the call's status, which is then logged, is not 0.
void exchange(const char* who, ubus_context* bus, const char* target, const char* message, Answer* answer) {
  char name[kNameSize] = {};
  snprintf(name, sizeof name, "%s%s", "zel_", target);
  uint32_t object = 0;  // A lookup can succeed without naming an id; no object has this one.
  if (ubus_lookup_id(bus, name, &object) != 0) {
    ZEL_LOG_AS(who, LOG_ERR, "[ZEL]", "can't find server :%s\n\n", target);
    return;
  }
  zel::BusMessage request;
  const bool fits = request && blobmsg_add_string(request.buffer(), "msg", message) == 0 &&
                    zel::may_be_sent(kAroundMessage + blob_raw_len(request.data()));
  const int status =
      fits ? ubus_invoke(bus, object, "send_cmd", request.data(), take_answer, answer, kReplyTimeoutMs)
           : UBUS_STATUS_INVALID_ARGUMENT;  // What the bus says of any message over its limit.
  if (status != 0) ZEL_LOG_AS(who, LOG_ERR, "[ZEL]", "ubus_invoke fail errcode:%d\n\n", status);
}

}  // namespace

char* zel_cloud_msg_send(const char* target, const char* message) {
  if (target == nullptr || message == nullptr) return nullptr;
  Answer answer;
  const zel::BusSection section;
  const zel::BusLink bus = zel::connect_bus();
  if (!bus) {
    ZEL_LOG(LOG_ERR, "[ZEL]", "Failed to connect to ubus\n\n");
    return nullptr;
  }
  exchange(__func__, bus.get(), target, message, &answer);
  return answer.release();
}
