#include "record.h"

#include "../support/events.h"

namespace routerbox::bus {
namespace {

constexpr size_t kMostRequests = 10'000;  // that wait for their end
constexpr std::chrono::seconds kLongestRequest(30);

// The router's as the verb `event` has them: "wan 257".
std::string event_name(const std::string& id, const Json& data) {
  if (id != "zel.event" || !data.is_object()) return id;
  for (const EventName& row : kRouterEvents)
    if (data.value("event", Json()) == row.number)
      return row.name + std::string(" ") + data.value("subevent", Json()).dump();
  return id;
}

bool is_brokers(const std::string& event) {
  return event.starts_with("ubus.object.");
}

}  // namespace

void Recorder::take(const Frame& frame) {
  clients_.add_account(frame.client, frame.account);
  if (!frame.to_client) return take_request(frame);
  switch (frame.type) {
    case UBUS_MSG_DATA:
      return take_answer(frame);
    case UBUS_MSG_STATUS:
      return take_status(frame);
    case UBUS_MSG_INVOKE:
      return take_call(frame);
    default:
      return;
  }
}

void Recorder::forget() {
  clients_.forget();
  objects_.clear();
  requests_.clear();
}

void Recorder::take_request(const Frame& frame) {
  if (frame.type == UBUS_MSG_DATA || frame.type == UBUS_MSG_STATUS) return;  // its copy to the caller counts
  if (frame.type == UBUS_MSG_ADD_OBJECT) clients_.add_object(frame.client, frame.path);
  if (frame.type == UBUS_MSG_INVOKE && frame.object == UBUS_SYSTEM_OBJECT_EVENT && frame.method == "send")
    event_sender_ = clients_.name(frame.client);
  const Clock::time_point now = Clock::now();
  drop_unanswered(now);
  requests_[{frame.client, frame.sequence}] = {frame, now, nullptr};
}

// Who goes away leaves requests that nobody ends.
void Recorder::drop_unanswered(Clock::time_point now) {
  if (requests_.size() >= kMostRequests) requests_.clear();
  if (now - looked_through_ < std::chrono::seconds(1)) return;
  looked_through_ = now;
  std::erase_if(requests_, [&](const auto& row) { return now - row.second.begin > kLongestRequest; });
}

void Recorder::take_answer(const Frame& frame) {
  const auto found = requests_.find({frame.client, frame.sequence});
  if (found == requests_.end()) return;
  Request& request = found->second;
  if (request.frame.type == UBUS_MSG_ADD_OBJECT) request.frame.object = frame.object;
  const std::string& path = frame.path.empty() ? request.frame.path : frame.path;
  if (request.frame.type != UBUS_MSG_INVOKE && frame.object && !path.empty()) objects_[*frame.object] = path;
  if (!frame.data.is_null()) request.answer = frame.data;
}

void Recorder::take_status(const Frame& frame) {
  const auto found = requests_.find({frame.client, frame.sequence});
  if (found == requests_.end() || !frame.status) return;
  record(found->second, *frame.status);
  requests_.erase(found);
}

// Of a call the request tells; here is only who called, and what events come to.
void Recorder::take_call(const Frame& frame) {
  clients_.add_account(frame.peer, frame.caller);
  if (frame.peer != 0 || is_brokers(frame.method)) return;
  trace_.record({Channel::kEvents,
                 event_sender_,
                 clients_.name(frame.client),
                 event_name(frame.method, frame.data),
                 "given",
                 {},
                 {{"data", frame.data}}});
}

void Recorder::record(const Request& request, uint32_t status) {
  TraceLine line;
  line.channel = Channel::kBus;
  line.from = clients_.name(request.frame.client);
  line.to = "bus";
  line.result = status == 0 ? "OK" : ubus_strerror(static_cast<int>(status));
  line.took = Clock::now() - request.begin;
  for (const Kind& kind : kKinds)
    if (kind.type == request.frame.type && (this->*kind.describe)(request, status, &line))
      trace_.record(line);
}

bool Recorder::describe_lookup(const Request& request, uint32_t status, TraceLine* line) const {
  line->what = "look up " + request.frame.path;
  return status != 0 && !request.frame.path.empty();
}

bool Recorder::describe_new_object(const Request& request, uint32_t, TraceLine* line) const {
  line->what = "make the object " + request.frame.path;
  return !request.frame.path.empty();
}

bool Recorder::describe_removed_object(const Request& request, uint32_t, TraceLine* line) const {
  line->what = "remove the object " + object_name(request.frame.object);
  return true;
}

bool Recorder::describe_call(const Request& request, uint32_t, TraceLine* line) const {
  const Frame& frame = request.frame;
  if (frame.object == UBUS_SYSTEM_OBJECT_EVENT) return describe_event(frame, line);
  line->to = clients_.owner(object_name(frame.object));
  line->what = frame.method;
  line->details = {{"data", frame.data}, {"answer", request.answer}};
  return true;
}

bool Recorder::describe_event(const Frame& frame, TraceLine* line) {
  if (!frame.data.is_object()) return false;
  const bool listens = frame.method == "register";
  const Json name = frame.data.value(listens ? "pattern" : "id", Json()),
             data = frame.data.value("data", Json());
  if (!name.is_string() || is_brokers(name)) return false;
  line->channel = Channel::kEvents;
  line->what = listens ? "listen for " + name.get<std::string>() : event_name(name, data);
  if (!listens) line->details = {{"data", data}};
  return true;
}

const Recorder::Kind Recorder::kKinds[5] = {
    {UBUS_MSG_LOOKUP, &Recorder::describe_lookup},
    {UBUS_MSG_ADD_OBJECT, &Recorder::describe_new_object},
    {UBUS_MSG_REMOVE_OBJECT, &Recorder::describe_removed_object},
    {UBUS_MSG_INVOKE, &Recorder::describe_call},
    {UBUS_MSG_NOTIFY, &Recorder::describe_call},
};

std::string Recorder::object_name(std::optional<uint32_t> id) const {
  const auto found = objects_.find(id.value_or(0));
  if (found != objects_.end()) return found->second;
  return id ? "object " + std::to_string(*id) : "";
}

}  // namespace routerbox::bus
