// The plug-in's object on the bus, from its making to its release.
#include <sys/socket.h>
#include <unistd.h>
#include <zel/cloud.h>
#include <zel/perm.h>
#include <zel/service.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <utility>

#include "base/handles.h"
#include "base/log.h"
#include "bus/comeback.h"
#include "bus/connect.h"
#include "bus/dispatch.h"
#include "perm/guard.h"

// The method handler finds the record from the address of its object, so the object is a member, not a
// pointer.
struct zel_cloud_msg_ctx {
  ubus_context* bus;
  ubus_object object;
  zel_cloud_msg_handler handler;      // Guarded by the global lock.
  char name[sizeof zel_object_name];  // The object's on the bus, whatever zel_object_name has become since.
  pid_t owner;                        // A forked child has a copy of the record, but shares the connection.
  bool released_by_handler;
};

char zel_object_name[128];
zel_cloud_msg_ctx* zel_cloud_ctx = nullptr;  // Guarded by the global lock.
char resp_buf[4096];                         // Both are used by one dispatch at a time.
blob_buf zel_b;

namespace {

// ---- A message and its answer

unsigned int messages = 0;  // So many have come in. Guarded by the global lock.

int call_plugin(zel_cloud_msg_handler handler, const char* message) noexcept {
  const zel::PluginCode scope;
  const int status = handler(message, static_cast<uint32_t>(strlen(message)), resp_buf, sizeof resp_buf);
  resp_buf[sizeof resp_buf - 1] = '\0';  // A handler may have filled the buffer to its last byte.
  return status;
}

zel_cloud_msg_handler handler_of(const zel_cloud_msg_ctx& record) {
  const zel::GlobalSection section;
  return record.handler;
}

int zel_cloud_send_cmd(ubus_context* bus, ubus_object* object, ubus_request_data* request, const char*,
                       blob_attr* request_data);

constexpr blobmsg_policy kRequestPolicy[] = {{.name = "msg", .type = BLOBMSG_TYPE_STRING}};

// Set by member name: the generations of libubus differ in what lies between.
constexpr ubus_method send_cmd_method() {
  ubus_method method{};
  method.name = "send_cmd";
  method.handler = zel_cloud_send_cmd;
  method.policy = kRequestPolicy;
  method.n_policy = 1;
  return method;
}
const ubus_method kMethods[] = {send_cmd_method()};

// `bus` is the record's connection, or the one that is about to become it.
int zel_cloud_send_cmd(ubus_context* bus, ubus_object* object, ubus_request_data* request, const char*,
                       blob_attr* request_data) {
  ++messages;
  blob_attr* msg = nullptr;
  if (request_data != nullptr) {
    blobmsg_parse(kRequestPolicy, 1, &msg, blob_data(request_data),
                  static_cast<unsigned int>(blob_len(request_data)));
  }
  memset(resp_buf, 0, sizeof resp_buf);
  auto* const record = reinterpret_cast<zel_cloud_msg_ctx*>(reinterpret_cast<char*>(object) -
                                                            offsetof(zel_cloud_msg_ctx, object));
  const zel_cloud_msg_handler handler = handler_of(*record);
  const int status = msg != nullptr && handler != nullptr ? call_plugin(handler, blobmsg_get_string(msg)) : 0;

  const bool described =
      blob_buf_init(&zel_b, 0) == 0 && blobmsg_add_string(&zel_b, "description", resp_buf) == 0;
  if (described) ubus_send_reply(bus, request, zel_b.head);
  return described || status != 0 ? status : UBUS_STATUS_UNKNOWN_ERROR;
}

// ---- Its making, and its comeback with another broker

ubus_object_type new_object_type() {
  ubus_object_type type{};
  type.name = zel_object_name;
  type.methods = kMethods;
  type.n_methods = 1;
  return type;
}
ubus_object_type object_type = new_object_type();

ubus_object new_object() {
  ubus_object object{};
  object.name = zel_object_name;
  object.type = &object_type;
  object.methods = kMethods;
  object.n_methods = 1;
  return object;
}

// Puts the record's object on a bus that does not know it.
bool publish(zel_cloud_msg_ctx* record, ubus_context* bus) {
  record->object = new_object();
  object_type.id = 0;  // An earlier connection's number would name a type that is gone.
  return ubus_add_object(bus, &record->object) == 0;
}

bool revive(ubus_context* lost, zel::BusLink* fresh) {
  zel_cloud_msg_ctx* const record = zel_cloud_ctx;
  memcpy(zel_object_name, record->name, sizeof zel_object_name);
  // A call can come in before the object is published, and its handler can release it.
  if (!publish(record, fresh->get()) || record != zel_cloud_ctx) {
    fresh->reset();  // before the record, which it refers to
    return false;
  }
  record->bus = fresh->release();
  fresh->reset(lost);
  return true;
}

void retire(zel_cloud_msg_ctx* record);

// Makes the record of an object on the bus of `link`, which then belongs to it.
int make_record(const char* who, zel::BusLink link) {
  zel::Memory<zel_cloud_msg_ctx> record(
      static_cast<zel_cloud_msg_ctx*>(zel_malloc(sizeof(zel_cloud_msg_ctx))));
  if (!record) return -1;
  *record = zel_cloud_msg_ctx{};
  record->bus = link.get();
  memcpy(record->name, zel_object_name, sizeof record->name);
  record->owner = getpid();
  if (!publish(record.get(), link.get())) {
    ZEL_LOG_AS(who, LOG_ERR, "[ZEL]", "Failed to add object: %s\n\n", zel_object_name);
    link.reset();  // Before the record: the connection may still refer to its object.
    return -1;
  }
  zel_cloud_msg_ctx* const earlier = std::exchange(zel_cloud_ctx, record.release());
  if (earlier != nullptr) retire(earlier);  // Of another name, or lost with its broker.
  zel_loop_add_ubus(link.get());
  zel::comeback.keep(link.release(), revive);
  return 0;
}

zel::BusLink connect_logged(const char* who) {
  zel::BusLink link = zel::connect_bus();
  if (!link) {
    const int error = errno;
    perror("Failed to connect to ubus\n");
    ZEL_LOG_AS(who, LOG_ERR, "[ZEL]", "Failed to connect to ubus: %s\n", strerror(error));
  }
  return link;
}

bool caller_may_use_cloud(const char* who) {
  return zel::Guard("[ZEL]", zel::Guard::Logs::kNothing).permits(ability_cloud_communication, who);
}

// ---- Its handler

bool object_exists() {
  const zel::GlobalSection section;
  return zel_cloud_ctx != nullptr;
}

int store_handler(zel_cloud_msg_handler handler) {
  const zel::GlobalSection section;
  if (zel_cloud_ctx == nullptr) return -1;
  zel_cloud_ctx->handler = handler;
  return 0;
}

// ---- Its end

constexpr std::chrono::milliseconds kFarewellLimit{1000};

// Answers, with an empty text, the messages that came in while a handler released the object, until none comes any
// more: their senders would wait for their own limits. An answer from the broker, whatever it says, tells that it has
// read what was sent before, which a hang-up could make it drop.
void answer_what_is_queued(ubus_context* bus) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end = Clock::now() + kFarewellLimit;
  zel::BusMessage nothing;
  for (unsigned int before = messages - 1; before != messages && nothing;) {
    before = messages;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    if (left <= 0) return;
    ubus_invoke(bus, UBUS_SYSTEM_OBJECT_EVENT, "farewell", nothing.data(), nullptr, nullptr,
                static_cast<int>(left));
    if (bus->sock.eof) return;
    bus->sock.cb(&bus->sock,
                 ULOOP_READ);  // Libubus of 2014 runs what it has queued only with the next input.
  }
}

void destroy(void* memory) noexcept {
  auto* const record = static_cast<zel_cloud_msg_ctx*>(memory);
  const zel::Memory<zel_cloud_msg_ctx> freed(record);  // After the connection, which refers to its object.
  const zel::BusLink bus(record->bus);
  if (record->owner == getpid()) {
    if (record->released_by_handler) answer_what_is_queued(bus.get());
    // The service thread may be waiting on the socket, which keeps it open past its close.
    shutdown(bus->sock.fd, SHUT_RDWR);
  }
  blob_buf_free(&zel_b);
}

void retire(zel_cloud_msg_ctx* record) {
  record->handler = nullptr;  // For what is still queued when a handler releases.
  record->released_by_handler = zel::is_at_work(record->bus);
  zel::retire_connection(record->bus, zel::Owner(record, destroy));
}

}  // namespace

int zel_cloud_msg_init(void) {
  if (!caller_may_use_cloud(__func__)) return -1;
  const zel::BusSection section;
  if (zel_cloud_get_object_name(zel_object_name, sizeof zel_object_name) == -1) {
    ZEL_LOG(LOG_ERR, "[ZEL]", "Failed to get object name\n\n");
    return -1;
  }
  zel::BusLink link = connect_logged(__func__);
  return link ? make_record(__func__, std::move(link)) : -1;
}

int zel_cloud_msg_init_dbg(const char* name) {
  if (name == nullptr) return -1;
  const zel::BusSection section;
  zel::BusLink link = connect_logged(__func__);
  if (!link) return -1;
  snprintf(zel_object_name, sizeof zel_object_name, "%s%s", "zel_", name);
  return make_record(__func__, std::move(link));
}

int zel_cloud_msg_handler_register(zel_cloud_msg_handler handler) {
  if (handler == nullptr || !object_exists() || !caller_may_use_cloud(__func__)) return -1;
  return store_handler(handler);
}

int zel_cloud_msg_handler_register_dbg(zel_cloud_msg_handler handler) {
  return handler != nullptr ? store_handler(handler) : -1;
}

void zel_cloud_msg_release(void) {
  const zel::BusSection section;
  if (zel_cloud_ctx != nullptr) retire(std::exchange(zel_cloud_ctx, nullptr));
  blob_buf_free(&zel_b);
}
