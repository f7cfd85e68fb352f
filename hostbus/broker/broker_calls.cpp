#include <string_view>

#include "broker.h"
#include "random_id.h"

namespace hostbus {
namespace {

// What the record of a pattern takes beside its text, rounded up.
constexpr size_t kPatternOverhead = 128;

}  // namespace

int Broker::invoke(const Request& request) {
  const char* method = request.attributes.text(UBUS_ATTR_METHOD);
  const auto id = request.attributes.number(UBUS_ATTR_OBJID);
  if (method == nullptr || !id) return UBUS_STATUS_INVALID_ARGUMENT;
  if (*id == UBUS_SYSTEM_OBJECT_EVENT || *id == UBUS_SYSTEM_OBJECT_MONITOR)
    return invoke_own(request, *id, method);
  const Object* object = registry_.find(*id);
  return object != nullptr ? pass_call_on(request, *object, method) : UBUS_STATUS_NOT_FOUND;
}

// Passed on under the caller's id, with the caller's account. The answer comes from the owner; nothing
// about the call is kept here.
int Broker::pass_call_on(const Request& request, const Object& object, const char* method) {
  const Account& account = request.client.account();
  Body body;
  body.number(UBUS_ATTR_OBJID, object.id)
      .text(UBUS_ATTR_METHOD, method)
      .text(UBUS_ATTR_USER, account.user.c_str())
      .text(UBUS_ATTR_GROUP, account.group.c_str());
  if (const blob_attr* data = request.attributes[UBUS_ATTR_DATA]) body.data(UBUS_ATTR_DATA, payload_of(data));
  // The account made it longer; the owner would take a frame over the limit for garbage.
  if (!body.fits() && !passes_oversize_) return UBUS_STATUS_INVALID_ARGUMENT;
  object.owner->send({.type = UBUS_MSG_INVOKE, .seq = request.header().seq, .peer = request.client.id()},
                     body.bytes());
  return kNoAnswer;
}

// The answer comes first: it names the subscribers whose own answers follow.
int Broker::notify(const Request& request) {
  const char* method = request.attributes.text(UBUS_ATTR_METHOD);
  const auto id = request.attributes.number(UBUS_ATTR_OBJID);
  if (method == nullptr || !id) return UBUS_STATUS_INVALID_ARGUMENT;
  const Object* object = registry_.find(*id);
  if (object == nullptr) return UBUS_STATUS_NOT_FOUND;
  if (object->owner != &request.client) return UBUS_STATUS_PERMISSION_DENIED;
  const Subscriptions::Ids subscribers = subscriptions_.subscribers_of(*id);
  const blob_attr* no_reply = request.attributes[UBUS_ATTR_NO_REPLY];
  if (no_reply == nullptr || blob_get_u8(no_reply) == 0) {
    Body body;
    body.number(UBUS_ATTR_OBJID, *id)
        .numbers(UBUS_ATTR_SUBSCRIBERS, subscribers)
        .number(UBUS_ATTR_STATUS, UBUS_STATUS_OK);
    request.client.send({.type = UBUS_MSG_STATUS, .seq = request.header().seq, .peer = request.header().peer},
                        body.bytes());
  }
  for (const uint32_t subscriber : subscribers) pass_call_on(request, *registry_.find(subscriber), method);
  return kNoAnswer;
}

int Broker::invoke_own(const Request& request, uint32_t object, std::string_view method) {
  static constexpr struct {
    uint32_t object;
    std::string_view method;
    Handler call;
  } kMethods[] = {
      {UBUS_SYSTEM_OBJECT_EVENT, "register", &Broker::register_pattern},
      {UBUS_SYSTEM_OBJECT_EVENT, "send", &Broker::send_event},
      {UBUS_SYSTEM_OBJECT_MONITOR, "add", &Broker::add_monitor},
      {UBUS_SYSTEM_OBJECT_MONITOR, "remove", &Broker::remove_monitor},
  };
  for (const auto& row : kMethods) {
    if (row.object != object || row.method != method) continue;
    const bool has_data = request.attributes[UBUS_ATTR_DATA] != nullptr;
    return has_data ? (this->*row.call)(request) : UBUS_STATUS_INVALID_ARGUMENT;
  }
  return UBUS_STATUS_INVALID_COMMAND;
}

int Broker::register_pattern(const Request& request) {
  enum { kObject, kPattern, kCount };
  static constexpr blobmsg_policy kPolicy[kCount] = {{"object", BLOBMSG_TYPE_INT32},
                                                     {"pattern", BLOBMSG_TYPE_STRING}};
  blob_attr* fields[kCount] = {};
  blob_attr* data = request.attributes[UBUS_ATTR_DATA];
  blobmsg_parse(kPolicy, kCount, fields, blob_data(data), static_cast<unsigned>(blob_len(data)));
  if (fields[kObject] == nullptr || fields[kPattern] == nullptr) return UBUS_STATUS_INVALID_ARGUMENT;

  const uint32_t id = blobmsg_get_u32(fields[kObject]);
  if (id < kFirstFreeId) return UBUS_STATUS_PERMISSION_DENIED;
  Object* object = registry_.find(id);
  if (object == nullptr) return UBUS_STATUS_NOT_FOUND;
  if (object->owner != &request.client) return UBUS_STATUS_PERMISSION_DENIED;
  std::string pattern = blobmsg_get_string(fields[kPattern]);
  if (pattern.empty()) return UBUS_STATUS_PERMISSION_DENIED;
  if (events_.listens(id, pattern)) return UBUS_STATUS_OK;
  if (const int status = hold(*object, pattern.size() + kPatternOverhead)) return status;
  events_.listen(id, request.client, std::move(pattern));
  return UBUS_STATUS_OK;
}

int Broker::send_event(const Request& request) {
  enum { kId, kData, kCount };
  static constexpr blobmsg_policy kPolicy[kCount] = {{"id", BLOBMSG_TYPE_STRING},
                                                     {"data", BLOBMSG_TYPE_TABLE}};
  blob_attr* fields[kCount] = {};
  blob_attr* data = request.attributes[UBUS_ATTR_DATA];
  blobmsg_parse(kPolicy, kCount, fields, blob_data(data), static_cast<unsigned>(blob_len(data)));
  if (fields[kId] == nullptr || fields[kData] == nullptr) return UBUS_STATUS_INVALID_ARGUMENT;

  const char* name = blobmsg_get_string(fields[kId]);
  // These are the broker's own to send.
  if (std::string_view(name).starts_with("ubus.")) return UBUS_STATUS_PERMISSION_DENIED;
  events_.deliver(name,
                  {static_cast<const uint8_t*>(blobmsg_data(fields[kData])), blobmsg_data_len(fields[kData])},
                  &request.client);
  return UBUS_STATUS_OK;
}

int Broker::add_monitor(const Request& request) {
  return monitor_.add(request.client) ? UBUS_STATUS_OK : UBUS_STATUS_UNKNOWN_ERROR;
}

int Broker::remove_monitor(const Request& request) {
  return monitor_.remove(request.client) ? UBUS_STATUS_OK : UBUS_STATUS_NOT_FOUND;
}

}  // namespace hostbus
