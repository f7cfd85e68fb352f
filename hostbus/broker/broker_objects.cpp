#include <cstring>
#include <string_view>
#include <vector>

#include "broker.h"
#include "random_id.h"

namespace hostbus {
namespace {

// What a listing or an announcement of an object adds to its name and signature, and what the records of an
// object or of a subscription take here; both rounded up.
constexpr size_t kListingOverhead = 128;
constexpr size_t kObjectOverhead = 512;
constexpr size_t kSubscriptionSize = 256;

bool is_system_object(uint32_t id) {
  return id >= UBUS_SYSTEM_OBJECT_EVENT && id <= UBUS_SYSTEM_OBJECT_MONITOR;
}

}  // namespace

int Broker::add_object(const Request& request) {
  const char* path = request.attributes.text(UBUS_ATTR_OBJPATH);
  if (path != nullptr && registry_.names().contains(path)) return UBUS_STATUS_INVALID_ARGUMENT;

  std::shared_ptr<const ObjectType> type;
  std::optional<std::vector<uint8_t>> signature;  // of a new type
  if (const auto known = request.attributes.number(UBUS_ATTR_OBJTYPE)) {
    type = registry_.type(*known);
  } else if (blob_attr* described = request.attributes[UBUS_ATTR_SIGNATURE]) {
    signature = check_signature(described);
  }
  // Everybody who looks the object up must be able to read its listing.
  size_t size = path != nullptr ? std::strlen(path) : 0;
  if (type) size += type->signature.size();
  if (signature) size += signature->size();
  if (size + kListingOverhead > kMaxBodySize) return UBUS_STATUS_INVALID_ARGUMENT;
  if (!request.client.hold(size + kObjectOverhead)) return UBUS_STATUS_NO_MEMORY;

  if (signature) type = registry_.add_type(std::move(*signature));
  Object& object =
      registry_.add(request.client, path != nullptr ? std::optional<std::string>(path) : std::nullopt, type);
  object.held = size + kObjectOverhead;
  announce("ubus.object.add", object);
  Body body;
  body.number(UBUS_ATTR_OBJID, object.id);
  if (signature) body.number(UBUS_ATTR_OBJTYPE, type->id);
  answer_data(request.client, request.header(), body);
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
  answer_data(request.client, request.header(), body);
  return UBUS_STATUS_OK;
}

// `answer`, if there is one, is told what is gone.
void Broker::take_out(uint32_t id, Body* answer) {
  for (const uint32_t target : subscriptions_.targets_of(id)) end_subscription(id, target);
  for (const uint32_t subscriber : subscriptions_.subscribers_of(id)) {
    Body gone;
    gone.number(UBUS_ATTR_OBJID, subscriber).number(UBUS_ATTR_TARGET, id);
    registry_.find(subscriber)
        ->owner->send({.type = UBUS_MSG_UNSUBSCRIBE, .seq = ++subscription_frames_, .peer = 0}, gone.bytes());
    end_subscription(subscriber, id);
  }
  events_.forget(id);
  const Object object = registry_.remove(id);
  object.owner->let_go(object.held);
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

void Broker::show(Client& client, const Header& request, const Object& object) {
  if (!object.type) return;
  Body body;
  body.text(UBUS_ATTR_OBJPATH, object.name->c_str())
      .number(UBUS_ATTR_OBJID, object.id)
      .number(UBUS_ATTR_OBJTYPE, object.type->id)
      .data(UBUS_ATTR_SIGNATURE, object.type->signature);
  answer_data(client, request, body);
}

int Broker::look_up(const Request& request) {
  const auto& names = registry_.names();
  const char* path = request.attributes.text(UBUS_ATTR_OBJPATH);
  std::string_view wanted = path != nullptr ? path : "*";
  if (wanted.empty()) return UBUS_STATUS_INVALID_ARGUMENT;
  if (!wanted.ends_with('*')) {
    const auto found = names.find(wanted);
    if (found == names.end()) return UBUS_STATUS_NOT_FOUND;
    show(request.client, request.header(), *found->second);
    return UBUS_STATUS_OK;
  }
  wanted.remove_suffix(1);
  const auto first = names.lower_bound(wanted);
  const bool any = first != names.end() && first->first.starts_with(wanted);
  // An empty bus is fine for those who ask for everything.
  if (!any && path != nullptr) return UBUS_STATUS_NOT_FOUND;
  request.client.listing = {request.header(), std::string(wanted), std::nullopt};
  go_on_listing(request.client);
  return kNoAnswer;
}

void Broker::go_on_listing(Client& client) {
  const auto& names = registry_.names();
  Listing& listing = *client.listing;
  auto at = listing.last ? names.upper_bound(*listing.last) : names.lower_bound(listing.prefix);
  for (; at != names.end() && at->first.starts_with(listing.prefix); ++at) {
    // What waits to go out is never more than one entry, be the listing ever so long.
    if (client.has_output()) return;
    show(client, listing.request, *at->second);
    listing.last = at->first;
  }
  answer(client, listing.request, UBUS_STATUS_OK);
  client.listing.reset();
}

int Broker::subscribe(const Request& request) {
  const auto id = request.attributes.number(UBUS_ATTR_OBJID);
  const auto target_id = request.attributes.number(UBUS_ATTR_TARGET);
  if (!id || !target_id) return UBUS_STATUS_INVALID_ARGUMENT;
  Object* subscriber = registry_.find(*id);
  const Object* target = registry_.find(*target_id);
  if (subscriber == nullptr || target == nullptr) return UBUS_STATUS_NOT_FOUND;
  if (subscriber->owner != &request.client || target->owner == &request.client) {
    return UBUS_STATUS_INVALID_ARGUMENT;
  }
  const bool first = subscriptions_.subscribers_of(*target_id).empty();
  if (!subscriptions_.add(*id, *target_id)) return UBUS_STATUS_OK;
  if (hold(*subscriber, kSubscriptionSize) != UBUS_STATUS_OK) {
    subscriptions_.remove(*id, *target_id);
    return UBUS_STATUS_NO_MEMORY;
  }
  if (first) tell_owner_of_subscribers(*target_id, true);
  return UBUS_STATUS_OK;
}

int Broker::unsubscribe(const Request& request) {
  const auto id = request.attributes.number(UBUS_ATTR_OBJID);
  const auto target = request.attributes.number(UBUS_ATTR_TARGET);
  if (!id || !target) return UBUS_STATUS_INVALID_ARGUMENT;
  const Object* subscriber = registry_.find(*id);
  if (subscriber == nullptr) return UBUS_STATUS_NOT_FOUND;
  if (subscriber->owner != &request.client) return UBUS_STATUS_INVALID_ARGUMENT;
  if (!subscriptions_.targets_of(*id).contains(*target)) return UBUS_STATUS_NOT_FOUND;
  end_subscription(*id, *target);
  return UBUS_STATUS_OK;
}

void Broker::end_subscription(uint32_t subscriber, uint32_t target) {
  subscriptions_.remove(subscriber, target);
  Object* object = registry_.find(subscriber);
  object->held -= kSubscriptionSize;
  object->owner->let_go(kSubscriptionSize);
  if (subscriptions_.subscribers_of(target).empty()) tell_owner_of_subscribers(target, false);
}

void Broker::tell_owner_of_subscribers(uint32_t target, bool active) {
  Body body;
  body.number(UBUS_ATTR_OBJID, target).flag(UBUS_ATTR_ACTIVE, active);
  registry_.find(target)->owner->send({.type = UBUS_MSG_NOTIFY, .seq = ++subscription_frames_, .peer = 0},
                                      body.bytes());
}

}  // namespace hostbus
