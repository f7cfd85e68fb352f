#include "broker.h"

#include <ubus_common.h>

#include <array>
#include <cstring>
#include <string_view>
#include <vector>

#include "random_id.h"

namespace hostbus {
namespace {

// What a listing or an announcement of an object adds to its name and signature, rounded up.
constexpr size_t kListingOverhead = 128;

bool is_system_object(uint32_t id) {
  return id >= UBUS_SYSTEM_OBJECT_EVENT && id <= UBUS_SYSTEM_OBJECT_MONITOR;
}

}  // namespace

Client& Broker::admit(zel::Descriptor socket, Account account, Poller& poller) {
  const uint32_t id = unused_id(clients_);
  auto& client = clients_[id] = std::make_unique<Client>(id, std::move(socket), std::move(account), poller);
  client->send({.type = UBUS_MSG_HELLO, .seq = 0, .peer = id}, Body().bytes());
  return *client;
}

Client* Broker::find(uint32_t id) const {
  const auto found = clients_.find(id);
  return found != clients_.end() ? found->second.get() : nullptr;
}

void Broker::release(Client& client) {
  while (const uint32_t object = registry_.youngest_of(client)) take_out(object, nullptr);
  clients_.erase(client.id());
}

Broker::Handler Broker::handler_of(uint8_t type) {
  static constexpr auto kHandlers = [] {
    std::array<Handler, UBUS_MSG_MONITOR + 1> table{};
    table.fill(&Broker::refuse);
    table[UBUS_MSG_STATUS] = &Broker::pass_reply_on;
    table[UBUS_MSG_DATA] = &Broker::pass_reply_on;
    table[UBUS_MSG_PING] = &Broker::echo;
    table[UBUS_MSG_LOOKUP] = &Broker::look_up;
    table[UBUS_MSG_INVOKE] = &Broker::invoke;
    table[UBUS_MSG_ADD_OBJECT] = &Broker::add_object;
    table[UBUS_MSG_REMOVE_OBJECT] = &Broker::remove_object;
    return table;
  }();
  return type < kHandlers.size() ? kHandlers[type] : &Broker::refuse;
}

void Broker::handle(Client& client, const Frame& frame) {
  const Request request{client, frame, Attributes(frame)};
  const int status = (this->*handler_of(frame.header().type))(request);
  if (status == kNoAnswer) return;
  Body body;
  body.number(UBUS_ATTR_STATUS, static_cast<uint32_t>(status));
  client.send({.type = UBUS_MSG_STATUS, .seq = frame.header().seq, .peer = frame.header().peer},
              body.bytes());
}

void Broker::answer_data(const Request& request, const Body& body) {
  request.client.send({.type = UBUS_MSG_DATA, .seq = request.header().seq, .peer = request.header().peer},
                      body.bytes());
}

int Broker::refuse(const Request&) {
  return UBUS_STATUS_INVALID_COMMAND;
}

// The frame goes on as it is; only a client that owns the object may answer for it. Whether anybody
// waits for the answer is not known here.
int Broker::pass_reply_on(const Request& request) {
  const Header& header = request.header();
  const auto id = request.attributes.number(UBUS_ATTR_OBJID);
  const int needed = header.type == UBUS_MSG_STATUS ? UBUS_ATTR_STATUS : UBUS_ATTR_DATA;
  if (!id || request.attributes[needed] == nullptr) return kNoAnswer;
  const Object* object = registry_.find(*id);
  if (object == nullptr || object->owner != &request.client) return kNoAnswer;
  Client* caller = find(header.peer);
  if (caller != nullptr) {
    caller->send({.type = header.type, .seq = header.seq, .peer = *id}, request.frame.body());
  }
  return kNoAnswer;
}

int Broker::echo(const Request& request) {
  request.client.send({.type = UBUS_MSG_DATA, .seq = request.header().seq, .peer = request.header().peer},
                      request.frame.body());
  return UBUS_STATUS_OK;
}

void Broker::show(const Request& request, const Object& object) {
  if (!object.type) return;
  Body body;
  body.text(UBUS_ATTR_OBJPATH, object.name->c_str())
      .number(UBUS_ATTR_OBJID, object.id)
      .number(UBUS_ATTR_OBJTYPE, object.type->id)
      .data(UBUS_ATTR_SIGNATURE, object.type->signature);
  answer_data(request, body);
}

int Broker::look_up(const Request& request) {
  const auto& names = registry_.names();
  const char* path = request.attributes.text(UBUS_ATTR_OBJPATH);
  std::string_view wanted = path != nullptr ? path : "*";
  if (wanted.empty()) return UBUS_STATUS_INVALID_ARGUMENT;
  if (!wanted.ends_with('*')) {
    const auto found = names.find(wanted);
    if (found == names.end()) return UBUS_STATUS_NOT_FOUND;
    show(request, *found->second);
    return UBUS_STATUS_OK;
  }
  wanted.remove_suffix(1);
  bool any = path == nullptr;  // an empty bus is fine for those who ask for everything
  for (auto at = names.lower_bound(wanted); at != names.end() && at->first.starts_with(wanted); ++at) {
    any = true;
    show(request, *at->second);
  }
  return any ? UBUS_STATUS_OK : UBUS_STATUS_NOT_FOUND;
}

// Passed on under the caller's id, with the caller's account. The answer comes from the owner; nothing
// about the call is kept here.
int Broker::invoke(const Request& request) {
  const char* method = request.attributes.text(UBUS_ATTR_METHOD);
  const auto id = request.attributes.number(UBUS_ATTR_OBJID);
  if (method == nullptr || !id) return UBUS_STATUS_INVALID_ARGUMENT;
  if (*id == UBUS_SYSTEM_OBJECT_EVENT) return invoke_events(request, method);
  const Object* object = registry_.find(*id);
  if (object == nullptr) return UBUS_STATUS_NOT_FOUND;

  const Account& account = request.client.account();
  Body body;
  body.number(UBUS_ATTR_OBJID, *id)
      .text(UBUS_ATTR_METHOD, method)
      .text(UBUS_ATTR_USER, account.user.c_str())
      .text(UBUS_ATTR_GROUP, account.group.c_str());
  if (const blob_attr* data = request.attributes[UBUS_ATTR_DATA]) body.data(UBUS_ATTR_DATA, payload_of(data));
  // The account made it longer; the owner would take a frame over the limit for garbage.
  if (!body.fits()) return UBUS_STATUS_INVALID_ARGUMENT;
  object->owner->send({.type = UBUS_MSG_INVOKE, .seq = request.header().seq, .peer = request.client.id()},
                      body.bytes());
  return kNoAnswer;
}

int Broker::add_object(const Request& request) {
  const char* path = request.attributes.text(UBUS_ATTR_OBJPATH);
  if (path != nullptr && registry_.names().contains(path)) return UBUS_STATUS_INVALID_ARGUMENT;

  std::shared_ptr<const ObjectType> type;
  std::optional<std::vector<uint8_t>> signature;  // of a new type
  if (const auto known = request.attributes.number(UBUS_ATTR_OBJTYPE)) {
    type = registry_.type(*known);
  } else if (blob_attr* described = request.attributes[UBUS_ATTR_SIGNATURE]) {
    signature = checked_signature(described);
  }
  // Everybody who looks the object up must be able to read its listing.
  size_t listing = kListingOverhead;
  if (path != nullptr) listing += std::strlen(path);
  if (type) listing += type->signature.size();
  if (signature) listing += signature->size();
  if (listing > kMaxBodySize) return UBUS_STATUS_INVALID_ARGUMENT;

  if (signature) type = registry_.add_type(std::move(*signature));
  const Object& object =
      registry_.add(request.client, path != nullptr ? std::optional<std::string>(path) : std::nullopt, type);
  announce("ubus.object.add", object);
  Body body;
  body.number(UBUS_ATTR_OBJID, object.id);
  if (signature) body.number(UBUS_ATTR_OBJTYPE, type->id);
  answer_data(request, body);
  return UBUS_STATUS_OK;
}

int Broker::remove_object(const Request& request) {
  const auto id = request.attributes.number(UBUS_ATTR_OBJID);
  if (!id) return UBUS_STATUS_INVALID_ARGUMENT;
  if (is_system_object(*id)) return UBUS_STATUS_PERMISSION_DENIED;
  const Object* object = registry_.find(*id);
  if (object == nullptr) return UBUS_STATUS_NOT_FOUND;
  if (object->owner != &request.client) return UBUS_STATUS_PERMISSION_DENIED;
  Body body;
  take_out(*id, &body);
  answer_data(request, body);
  return UBUS_STATUS_OK;
}

// `answer`, if there is one, is told what is gone.
void Broker::take_out(uint32_t id, Body* answer) {
  events_.forget(id);
  const Object object = registry_.remove(id);
  announce("ubus.object.remove", object);
  if (answer == nullptr) return;
  answer->number(UBUS_ATTR_OBJID, id);
  if (object.type && !registry_.type(object.type->id)) answer->number(UBUS_ATTR_OBJTYPE, object.type->id);
}

void Broker::announce(const char* event, const Object& object) {
  if (!object.name) return;
  Body data;
  data.field("id", object.id).field("path", object.name->c_str());
  events_.deliver(event, data.payload(), nullptr);
}

int Broker::invoke_events(const Request& request, const char* method) {
  static constexpr struct {
    std::string_view name;
    int (Broker::*call)(Client&, blob_attr*);
  } kMethods[] = {{"register", &Broker::register_pattern}, {"send", &Broker::send_event}};
  for (const auto& row : kMethods) {
    if (row.name != method) continue;
    blob_attr* data = request.attributes[UBUS_ATTR_DATA];
    if (data == nullptr) return UBUS_STATUS_INVALID_ARGUMENT;
    return (this->*row.call)(request.client, data);
  }
  return UBUS_STATUS_INVALID_COMMAND;
}

int Broker::register_pattern(Client& client, blob_attr* data) {
  enum { kObject, kPattern, kCount };
  static constexpr blobmsg_policy kPolicy[kCount] = {{"object", BLOBMSG_TYPE_INT32},
                                                     {"pattern", BLOBMSG_TYPE_STRING}};
  blob_attr* fields[kCount] = {};
  blobmsg_parse(kPolicy, kCount, fields, blob_data(data), static_cast<unsigned>(blob_len(data)));
  if (fields[kObject] == nullptr || fields[kPattern] == nullptr) return UBUS_STATUS_INVALID_ARGUMENT;

  const uint32_t id = blobmsg_get_u32(fields[kObject]);
  if (id < kFirstFreeId) return UBUS_STATUS_PERMISSION_DENIED;
  const Object* object = registry_.find(id);
  if (object == nullptr) return UBUS_STATUS_NOT_FOUND;
  if (object->owner != &client) return UBUS_STATUS_PERMISSION_DENIED;
  std::string pattern = blobmsg_get_string(fields[kPattern]);
  if (pattern.empty()) return UBUS_STATUS_PERMISSION_DENIED;
  events_.listen(id, client, std::move(pattern));
  return UBUS_STATUS_OK;
}

int Broker::send_event(Client& client, blob_attr* data) {
  enum { kId, kData, kCount };
  static constexpr blobmsg_policy kPolicy[kCount] = {{"id", BLOBMSG_TYPE_STRING},
                                                     {"data", BLOBMSG_TYPE_TABLE}};
  blob_attr* fields[kCount] = {};
  blobmsg_parse(kPolicy, kCount, fields, blob_data(data), static_cast<unsigned>(blob_len(data)));
  if (fields[kId] == nullptr || fields[kData] == nullptr) return UBUS_STATUS_INVALID_ARGUMENT;

  const char* name = blobmsg_get_string(fields[kId]);
  // These are the broker's own to send.
  if (std::string_view(name).starts_with("ubus.")) return UBUS_STATUS_PERMISSION_DENIED;
  events_.deliver(name,
                  {static_cast<const uint8_t*>(blobmsg_data(fields[kData])), blobmsg_data_len(fields[kData])},
                  &client);
  return UBUS_STATUS_OK;
}

}  // namespace hostbus
