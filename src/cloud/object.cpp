// The plug-in's object on the bus: how it is made, answers, and goes.
#include <sys/socket.h>
#include <unistd.h>
#include <zel/cloud.h>

#include <cstddef>
#include <cstring>

#include "base/handles.h"
#include "base/log.h"
#include "bus/connect.h"
#include "bus/loop.h"
#include "perm/guard.h"

// The method handler finds the record from the address of its object, so the object is a member, not a
// pointer.
struct zel_cloud_msg_ctx {
  ubus_context* bus;
  ubus_object object;
  zel_cloud_msg_handler handler;  // Guarded by the global lock.
  pid_t owner;                    // A forked child has a copy of the record, but shares the connection.
};

char zel_object_name[128];
zel_cloud_msg_ctx* zel_cloud_ctx = nullptr;  // Guarded by the global lock.
char resp_buf[4096];                         // Both are used by one dispatch at a time.
blob_buf zel_b;

namespace {

void destroy_record(void* memory) noexcept {
  auto* const record = static_cast<zel_cloud_msg_ctx*>(memory);
  if (record->owner == getpid()) {
    // The broker's answer tells that it has read what was sent before, the last reply too. The service thread
    // may be waiting on the socket, which keeps it open past its close: hence the shutdown.
    ubus_remove_object(record->bus, &record->object);
    shutdown(record->bus->sock.fd, SHUT_RDWR);
  }
  ubus_free(record->bus);
  zel_free(record);
  blob_buf_free(&zel_b);
}

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

int zel_cloud_send_cmd(ubus_context*, ubus_object* object, ubus_request_data* request, const char*,
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

ubus_object_type new_object_type() {
  ubus_object_type type{};
  type.name = zel_object_name;
  type.methods = kMethods;
  type.n_methods = 1;
  return type;
}
ubus_object_type object_type = new_object_type();

int zel_cloud_send_cmd(ubus_context*, ubus_object* object, ubus_request_data* request, const char*,
                       blob_attr* request_data) {
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

  blob_buf_init(&zel_b, 0);
  blobmsg_add_string(&zel_b, "description", resp_buf);
  ubus_send_reply(record->bus, request, zel_b.head);
  return status;
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

// Puts the object named zel_object_name on the bus of `link`, which then belongs to the new record.
int publish(const char* who, zel::BusLink link) {
  zel::Memory<zel_cloud_msg_ctx> record(
      static_cast<zel_cloud_msg_ctx*>(zel_malloc(sizeof(zel_cloud_msg_ctx))));
  if (!record) return -1;
  *record = zel_cloud_msg_ctx{};
  object_type.id = 0;        // An earlier connection's number would name a type that is gone.
  record->bus = link.get();  // A call can come in before ubus_add_object has returned.
  record->owner = getpid();
  record->object.name = zel_object_name;
  record->object.type = &object_type;
  record->object.methods = kMethods;
  record->object.n_methods = 1;
  if (ubus_add_object(link.get(), &record->object) != 0) {
    ZEL_LOG_AS(who, LOG_ERR, "[ZEL]", "Failed to add object: %s\n\n", record->object.name);
    link.reset();  // Before the record: the connection may still refer to its object.
    return -1;
  }
  zel_cloud_ctx = record.release();
  zel_loop_add_ubus(link.release());
  return 0;
}

bool caller_may_use_cloud(const char* who) {
  return zel::Guard("[ZEL]", zel::Guard::Logs::kNothing).permits(ability_cloud_communication, who);
}

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

}  // namespace

int zel_cloud_msg_init(void) {
  if (!caller_may_use_cloud(__func__)) return -1;
  const zel::BusSection section;
  if (zel_cloud_get_object_name(zel_object_name, sizeof zel_object_name) == -1) {
    ZEL_LOG(LOG_ERR, "[ZEL]", "Failed to get object name\n\n");
    return -1;
  }
  zel::BusLink link = connect_logged(__func__);
  return link ? publish(__func__, std::move(link)) : -1;
}

int zel_cloud_msg_init_dbg(const char* name) {
  if (name == nullptr) return -1;
  const zel::BusSection section;
  zel::BusLink link = connect_logged(__func__);
  if (!link) return -1;
  snprintf(zel_object_name, sizeof zel_object_name, "%s%s", "zel_", name);
  return publish(__func__, std::move(link));
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
  if (zel_cloud_ctx != nullptr) {
    zel_cloud_msg_ctx* const record = std::exchange(zel_cloud_ctx, nullptr);
    record->handler = nullptr;  // For what is still queued when a handler releases.
    zel::retire_connection(record->bus, zel::Retired(record, destroy_record));
  }
  blob_buf_free(&zel_b);
}
