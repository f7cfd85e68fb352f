#include "events.h"

#include <algorithm>

#include "client.h"

namespace hostbus {

void Events::listen(uint32_t object, Client& owner, std::string pattern) {
  Listener& listener = listeners_[object];
  listener.owner = &owner;
  listener.patterns.insert(std::move(pattern));
}

bool Events::listens(uint32_t object, const std::string& pattern) const {
  const auto found = listeners_.find(object);
  return found != listeners_.end() && found->second.patterns.contains(pattern);
}

void Events::forget(uint32_t object) {
  listeners_.erase(object);
}

void Events::deliver(const char* name, Bytes data, const Client* sender) {
  for (const auto& [object, listener] : listeners_) {
    if (listener.owner == sender) continue;
    const bool wanted = std::any_of(listener.patterns.begin(), listener.patterns.end(),
                                    [&](const std::string& pattern) { return event_matches(pattern, name); });
    if (!wanted) continue;
    Body body;
    body.number(UBUS_ATTR_OBJID, object).text(UBUS_ATTR_METHOD, name).data(UBUS_ATTR_DATA, data);
    listener.owner->send({.type = UBUS_MSG_INVOKE, .seq = ++deliveries_, .peer = 0}, body.bytes());
  }
}

bool event_matches(std::string_view pattern, std::string_view name) {
  if (!pattern.ends_with('*')) return pattern == name;
  return name.starts_with(pattern.substr(0, pattern.size() - 1));
}

}  // namespace hostbus
