#include "broker.h"

#include <array>
#include <vector>

#include "random_id.h"

namespace hostbus {

Client& Broker::admit(zel::Descriptor socket, Account account, Poller& poller) {
  const uint32_t id = unused_id(clients_);
  const Client::Surroundings around{poller, monitor_};
  return *(clients_[id] = std::make_unique<Client>(id, std::move(socket), std::move(account), around));
}

void Broker::greet(Client& client) {
  client.send({.type = UBUS_MSG_HELLO, .seq = 0, .peer = client.id()}, Body().bytes());
}

Client* Broker::find(uint32_t id) const {
  const auto found = clients_.find(id);
  return found != clients_.end() ? found->second.get() : nullptr;
}

void Broker::release(Client& client) {
  while (const uint32_t object = registry_.youngest_of(client)) take_out(object, nullptr);
  clients_.erase(client.id());
}

bool Broker::drop(const std::string& object_or_pid) {
  std::vector<Client*> dropped;
  const auto named = registry_.names().find(object_or_pid);
  if (named != registry_.names().end()) dropped.push_back(named->second->owner);
  for (const auto& [id, client] : clients_) {
    if (named == registry_.names().end() && std::to_string(client->account().pid) == object_or_pid) {
      dropped.push_back(client.get());
    }
  }
  for (Client* client : dropped) release(*client);
  return !dropped.empty();
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
    table[UBUS_MSG_SUBSCRIBE] = &Broker::subscribe;
    table[UBUS_MSG_UNSUBSCRIBE] = &Broker::unsubscribe;
    table[UBUS_MSG_NOTIFY] = &Broker::notify;
    return table;
  }();
  return type < kHandlers.size() ? kHandlers[type] : &Broker::refuse;
}

void Broker::handle(Client& client, const Frame& frame) {
  monitor_.show(client, frame.header(), frame.body(), false);
  const Request request{client, frame, Attributes(frame)};
  const int status = (this->*handler_of(frame.header().type))(request);
  if (status != kNoAnswer) answer(client, frame.header(), status);
}

void Broker::answer(Client& client, const Header& request, int status) {
  Body body;
  body.number(UBUS_ATTR_STATUS, static_cast<uint32_t>(status));
  client.send({.type = UBUS_MSG_STATUS, .seq = request.seq, .peer = request.peer}, body.bytes());
}

void Broker::answer_data(Client& client, const Header& request, const Body& body) {
  client.send({.type = UBUS_MSG_DATA, .seq = request.seq, .peer = request.peer}, body.bytes());
}

int Broker::hold(Object& object, size_t bytes) {
  if (!object.owner->hold(bytes)) return UBUS_STATUS_NO_MEMORY;
  object.held += bytes;
  return UBUS_STATUS_OK;
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

}  // namespace hostbus
