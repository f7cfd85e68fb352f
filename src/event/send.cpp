#include <zel/event.h>
#include <zel/perm.h>

#include "base/log.h"
#include "bus/connect.h"
#include "bus/frame.h"
#include "event/access.h"
#include "event/kinds.h"

namespace {

// What stands in the frame's body around an event's fields: its length, the event object's id, the method "send", and
// the head, the name and the table's head of its arguments.
constexpr size_t kAroundEvent = 4 + 8 + 12 + 4 + 24 + 12;

bool describe(blob_buf* message, uint32_t event, uint32_t subevent, const char* data) {
  return blobmsg_add_u32(message, "event", event) == 0 &&
         blobmsg_add_u32(message, "subevent", subevent) == 0 &&
         (data == nullptr || blobmsg_add_string(message, "data", data) == 0);
}

// What a typed sender accepts; it logs what it does not.
bool is_acceptable(const char* who, uint32_t event, uint32_t subevent, const char* data) {
  const zel::EventKind& kind = zel::kKinds[event];
  if (subevent - (event << zel::kSubeventBits) >= kind.subevents) {
    ZEL_LOG_AS(who, LOG_ERR, "[ZE]", "subev is invalid!\n");
    return false;
  }
  if (data == nullptr) ZEL_LOG_AS(who, LOG_ERR, "[ZE]", "%s is NULL\n\n", kind.sender);
  return data != nullptr;
}

}  // namespace

int zel_event_send(uint32_t event, uint32_t subevent, const char* data) {
  if (event >= ZEL_EVENT_COUNT) {
    ZEL_LOG(LOG_ERR, "[ZE]", "invalid event\n\n");
    return -1;
  }
  if (!zel::event_guard.permits(ability_notify_send, __func__)) return -1;
  ZEL_TRACE("[ZE]", "event:%d, subev:%d, data:%s\n", static_cast<int>(event), static_cast<int>(subevent),
            data != nullptr ? data : "(null)");

  const zel::BusSection section;
  const zel::BusLink bus = zel::connect_bus();
  if (!bus) {
    ZEL_LOG(LOG_ERR, "[ZE]", "Failed to connect to ubus\n\n");
    return -1;
  }
  zel::BusMessage message;
  if (!message || !describe(message.buffer(), event, subevent, data)) return -1;
  if (!zel::may_be_sent(kAroundEvent + blob_len(message.data()))) return -1;
  return ubus_send_event(bus.get(), zel::kBusEvent, message.data()) == 0 ? 0 : -1;
}

int zel_event_send_disk(uint32_t subevent, const char* data) {
  if (!is_acceptable(__func__, ZEL_EVENT_DISK, subevent, data)) return -1;
  return zel_event_send(ZEL_EVENT_DISK, subevent, data);
}

int zel_event_send_wan(uint32_t subevent, const char* data) {
  if (!is_acceptable(__func__, ZEL_EVENT_WAN, subevent, data)) return -1;
  zel_event_send(ZEL_EVENT_WAN, subevent, data);
  return 0;  // Kept: only the disk sender passes on a failure.
}

int zel_event_send_home(uint32_t subevent, const char* data) {
  if (!is_acceptable(__func__, ZEL_EVENT_HOME, subevent, data)) return -1;
  zel_event_send(ZEL_EVENT_HOME, subevent, data);
  return 0;  // Kept, as above.
}
