#include <zel/event.h>
#include <zel/perm.h>

#include <utility>

#include "base/log.h"
#include "bus/connect.h"
#include "bus/loop.h"
#include "event/access.h"

zel_event_callback zel_event_cb[ZEL_EVENT_COUNT];  // Both guarded by the global lock.
ubus_context* zel_event_ctx = nullptr;

namespace {

constexpr const char* kEventNames[ZEL_EVENT_COUNT] = {"ZEL_EVENT_DISK", "ZEL_EVENT_WAN", "ZEL_EVENT_HOME"};

ubus_event_handler receiver;

enum Field { kEvent, kSubevent, kData, kFieldCount };
constexpr blobmsg_policy kPolicy[kFieldCount] = {{.name = "event", .type = BLOBMSG_TYPE_INT32},
                                                 {.name = "subevent", .type = BLOBMSG_TYPE_INT32},
                                                 {.name = "data", .type = BLOBMSG_TYPE_STRING}};
// What a message without numbers is taken for: consistent with each other, and no event there is.
constexpr int32_t kNoEvent = 3;
constexpr int32_t kNoSubevent = 768;

zel_event_callback callback_of(int32_t event) {
  const zel::GlobalSection section;
  return zel_event_cb[event];
}

void call_plugin(zel_event_callback callback, int32_t subevent, const char* data) noexcept {
  const zel::PluginCode scope;
  callback(subevent, data);
}

void zel_event_handler(ubus_context*, ubus_event_handler*, const char*, blob_attr* message) {
  blob_attr* fields[kFieldCount] = {};
  if (message != nullptr) {
    blobmsg_parse(kPolicy, kFieldCount, fields, blob_data(message),
                  static_cast<unsigned int>(blob_len(message)));
  }
  const int32_t event = fields[kEvent] ? static_cast<int32_t>(blobmsg_get_u32(fields[kEvent])) : kNoEvent;
  const int32_t subevent =
      fields[kSubevent] ? static_cast<int32_t>(blobmsg_get_u32(fields[kSubevent])) : kNoSubevent;
  const char* const data = fields[kData] ? blobmsg_get_string(fields[kData]) : nullptr;
  const char* const shown = data != nullptr ? data : "(null)";

  if (event != subevent >> 8) {
    ZEL_LOG(LOG_ERR, "[ZE]", "unmatch (event:%d - subev:%d), data:%s\n\n", event, subevent, shown);
    return;
  }
  ZEL_TRACE("[ZE]", "recv: event:%d, subev:%d, data:%s\n\n", event, subevent, shown);
  if (event < 0 || event >= ZEL_EVENT_COUNT) {
    ZEL_LOG(LOG_ERR, "[ZE]", "UNKNOWN event:%d, subev:%d, data:%s\n\n", event, subevent, shown);
    return;
  }
  const zel_event_callback callback = callback_of(event);
  if (callback != nullptr) call_plugin(callback, subevent, data);
}

// One that the service loop no longer serves: its broker is gone, or the loop was begun anew.
void drop_receiver() {
  ubus_context* const bus = std::exchange(zel_event_ctx, nullptr);
  zel::retire_connection(bus, zel::Retired(bus, [](void* it) { ubus_free(static_cast<ubus_context*>(it)); }));
}

void store_callback(uint32_t event, zel_event_callback callback) {
  const zel::GlobalSection section;
  zel_event_cb[event] = callback;
}

}  // namespace

int zel_event_init(void) {
  const zel::BusSection section;
  if (zel_event_ctx != nullptr) {
    if (zel::is_served(zel_event_ctx)) return 0;  // There is one record, and it is in use.
    drop_receiver();
  }
  zel::BusLink bus = zel::connect_bus();
  if (!bus) {
    ZEL_LOG(LOG_ERR, "[ZE]", "Failed to connect to ubus!\n");
    return -1;
  }
  receiver = ubus_event_handler{};
  receiver.cb = zel_event_handler;
  const int result = ubus_register_event_handler(bus.get(), &receiver, zel::kBusEvent);
  if (result != 0) {
    ZEL_LOG(LOG_ERR, "[ZE]", "Error while registering for event '%s': %s\n\n", zel::kBusEvent,
            ubus_strerror(result));
    return -1;
  }
  zel_event_ctx = bus.release();
  zel_loop_add_ubus(zel_event_ctx);
  return 0;
}

int zel_event_subscribe(uint32_t event, zel_event_callback callback) {
  if (event >= ZEL_EVENT_COUNT || callback == nullptr) {
    ZEL_LOG(LOG_ERR, "[ZE]", "invalid event or NULL cb\n\n");
    return -1;
  }
  if (!zel::event_guard.permits(ability_notify_rcv, __func__)) return -1;
  store_callback(event, callback);
  ZEL_LOG(LOG_INFO, "[ZE]", "subscribed event: (%s) cb(%p) !\n\n", kEventNames[event],
          reinterpret_cast<void*>(callback));
  return 0;
}

int zel_event_unsubscribe(uint32_t event) {
  if (event >= ZEL_EVENT_COUNT) {
    ZEL_LOG(LOG_ERR, "[ZE]", "invalid event\n\n");
    return -1;
  }
  if (!zel::event_guard.permits(ability_notify_rcv, __func__)) return -1;
  store_callback(event, nullptr);
  ZEL_LOG(LOG_INFO, "[ZE]", "unsubscribed event: %s!\n\n", kEventNames[event]);
  return 0;
}
