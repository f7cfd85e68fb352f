// The plug-in's receiver of events, from its making on; it lasts as long as the process.
#include <zel/event.h>
#include <zel/perm.h>

#include <utility>

#include "base/log.h"
#include "bus/comeback.h"
#include "bus/connect.h"
#include "bus/dispatch.h"
#include "event/access.h"
#include "event/kinds.h"

zel_event_callback zel_event_cb[ZEL_EVENT_COUNT];  // Both guarded by the global lock.
ubus_context* zel_event_ctx = nullptr;

namespace {

// ---- An event

zel_event_callback callback_of(int32_t event) {
  const zel::GlobalSection section;
  return zel_event_cb[event];
}

void call_plugin(zel_event_callback callback, int32_t subevent, const char* data) noexcept {
  const zel::PluginCode scope;
  callback(subevent, data);
}

enum Field { kEvent, kSubevent, kData, kFieldCount };
constexpr blobmsg_policy kPolicy[kFieldCount] = {{.name = "event", .type = BLOBMSG_TYPE_INT32},
                                                 {.name = "subevent", .type = BLOBMSG_TYPE_INT32},
                                                 {.name = "data", .type = BLOBMSG_TYPE_STRING}};

// What the log calls an event without numbers; they match each other.
constexpr int32_t kLoggedEvent = 3;
constexpr int32_t kLoggedSubevent = kLoggedEvent << zel::kSubeventBits;

int32_t number(blob_attr* field, int32_t otherwise) {
  return field != nullptr ? static_cast<int32_t>(blobmsg_get_u32(field)) : otherwise;
}

void zel_event_handler(ubus_context*, ubus_event_handler*, const char*, blob_attr* message) {
  blob_attr* fields[kFieldCount] = {};
  if (message != nullptr) {
    blobmsg_parse(kPolicy, kFieldCount, fields, blob_data(message),
                  static_cast<unsigned int>(blob_len(message)));
  }
  // A message without numbers is no event, whatever those it is logged with mean.
  const bool numbered = fields[kEvent] != nullptr && fields[kSubevent] != nullptr;
  const int32_t event = number(fields[kEvent], kLoggedEvent);
  const int32_t subevent = number(fields[kSubevent], kLoggedSubevent);
  const char* const data = fields[kData] != nullptr ? blobmsg_get_string(fields[kData]) : nullptr;
  const char* const text = data != nullptr ? data : "(null)";

  if (event != subevent >> zel::kSubeventBits) {
    ZEL_LOG(LOG_ERR, "[ZE]", "unmatch (event:%d - subev:%d), data:%s\n\n", event, subevent, text);
    return;
  }
  ZEL_TRACE("[ZE]", "recv: event:%d, subev:%d, data:%s\n\n", event, subevent, text);
  if (!numbered || event < 0 || event >= ZEL_EVENT_COUNT) {
    ZEL_LOG(LOG_ERR, "[ZE]", "UNKNOWN event:%d, subev:%d, data:%s\n\n", event, subevent, text);
    return;
  }
  const zel_event_callback callback = callback_of(event);
  if (callback != nullptr) call_plugin(callback, subevent, data);
}

// ---- The receiver's making, and its comeback with another broker

ubus_event_handler receiver;  // Of one connection at a time.

int register_receiver(ubus_context* bus) {
  receiver = ubus_event_handler{};
  receiver.cb = zel_event_handler;
  return ubus_register_event_handler(bus, &receiver, zel::kBusEvent);
}

bool revive(ubus_context* lost, zel::BusLink* fresh) {
  // An event can come in before the pattern's registration has returned, and its callback can make another receiver.
  if (register_receiver(fresh->get()) != 0 || zel_event_ctx != lost) return false;
  zel_event_ctx = fresh->release();
  fresh->reset(lost);
  return true;
}

// Of a connection that the service thread does not serve: its broker is gone, or start-up has begun the loop anew.
void retire(ubus_context* bus) {
  zel::retire_connection(bus,
                         zel::Owner(bus, [](void* it) { zel::close_bus(static_cast<ubus_context*>(it)); }));
}

// ---- Its callbacks

void store_callback(uint32_t event, zel_event_callback callback) {
  const zel::GlobalSection section;
  zel_event_cb[event] = callback;
}

}  // namespace

int zel_event_init(void) {
  const zel::BusSection section;
  if (zel_event_ctx != nullptr && zel::is_served(zel_event_ctx)) return 0;
  zel::BusLink bus = zel::connect_bus();
  if (!bus) {
    ZEL_LOG(LOG_ERR, "[ZE]", "Failed to connect to ubus!\n");
    return -1;
  }
  const int result = register_receiver(bus.get());
  if (result != 0) {
    ZEL_LOG(LOG_ERR, "[ZE]", "Error while registering for event '%s': %s\n\n", zel::kBusEvent,
            ubus_strerror(result));
    return -1;
  }
  ubus_context* const earlier = std::exchange(zel_event_ctx, bus.get());
  if (earlier != nullptr) retire(earlier);
  zel_loop_add_ubus(bus.get());
  zel::comeback.keep(bus.release(), revive);
  return 0;
}

int zel_event_subscribe(uint32_t event, zel_event_callback callback) {
  if (event >= ZEL_EVENT_COUNT || callback == nullptr) {
    ZEL_LOG(LOG_ERR, "[ZE]", "invalid event or NULL cb\n\n");
    return -1;
  }
  if (!zel::event_guard.permits(ability_notify_rcv, __func__)) return -1;
  store_callback(event, callback);
  ZEL_LOG(LOG_INFO, "[ZE]", "subscribed event: (%s) cb(%p) !\n\n", zel::kKinds[event].name,
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
  ZEL_LOG(LOG_INFO, "[ZE]", "unsubscribed event: %s!\n\n", zel::kKinds[event].name);
  return 0;
}
