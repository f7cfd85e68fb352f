// zelctl bus: the bus itself, as far as its broker lets the caller see.
#include <poll.h>

#include <cstring>

#include "bus.h"
#include "clock.h"
#include "ending.h"
#include "families.h"
#include "output.h"
#include "stream.h"
#include "text.h"

namespace zelctl {
namespace {

constexpr int kListSeconds = 10;

// ---- list -------------------------------------------------------------------------------------------------

// An argument's type, by its number on the bus.
const char* type_name(uint32_t type) {
  static constexpr const char* kNames[] = {"any",   "array", "table", "text",  "int64",
                                           "int32", "int16", "bool",  "double"};
  return type < std::size(kNames) ? kNames[type] : "?";
}

void add_methods(const blob_attr* signature, Result* result, cJSON* methods) {
  const blob_attr* method = nullptr;
  size_t left = 0;
  blob_for_each_attr(method, signature, left) {
    if (!blobmsg_check_attr(method, true)) continue;
    std::string list;
    cJSON* const types = add_object(methods, readable(blobmsg_name(method)).c_str());
    const blob_attr* argument = nullptr;
    size_t inner = 0;
    blobmsg_for_each_attr(argument, method, inner) {
      if (!blobmsg_check_attr(argument, true) || blobmsg_type(argument) != BLOBMSG_TYPE_INT32) continue;
      const char* const type = type_name(blobmsg_get_u32(const_cast<blob_attr*>(argument)));
      add_text(types, readable(blobmsg_name(argument)).c_str(), type);
      append(&list, "%s%s: %s", list.empty() ? "" : ", ", blobmsg_name(argument), type);
    }
    if (manner().verbose) result->line("  %s  {%s}", blobmsg_name(method), list.c_str());
  }
}

void add_found(ubus_context*, ubus_object_data* object, void* priv) {
  auto* const result = static_cast<Result*>(priv);
  cJSON* const row = append_object(cJSON_GetObjectItem(result->json(), "objects"));
  add_text(row, "name", object->path);
  add_number(row, "id", object->id);
  result->line("%s", object->path);
  cJSON* const methods = add_object(row, "methods");
  if (object->signature != nullptr) add_methods(object->signature, result, methods);
}

int list(const Call& call) {
  const BusLink bus = connect_bus();
  const Limit limit(kListSeconds, "It is stopped or hangs: look for ubusd in ps, and start it again.",
                    "the bus's broker did not answer within %d s", kListSeconds);
  Result result;
  const cJSON* const objects = add_array(result.json(), "objects");
  const char* const name = call.argument(0);
  require_success(ubus_lookup(bus.get(), name, add_found, &result), name != nullptr ? name : "objects");
  result.show();
  if (objects->child == nullptr) note("there is nothing on the bus that the broker shows this user");
  return kDone;
}

// ---- call -------------------------------------------------------------------------------------------------

JsonTree arguments_of(const char* text) {
  std::string where;
  JsonTree json = parse_json(text, &where);
  if (!json)
    fail(kUsage, "Put it in single quotes: '{\"msg\": \"hello\"}'", "JSON: it does not parse: %s",
         where.c_str());
  if (!is(json.get(), cJSON_Object))
    fail(kUsage, "Such as '{\"msg\": \"hello\"}'", "JSON: it is not an object");
  return json;
}

void add_answer(ubus_request* request, int, blob_attr* message) {
  add_fields(append_object(static_cast<cJSON*>(request->priv)), message);
}

int call_method(const Call& call) {
  const char* const object = call.argument(0);
  const char* const method = call.argument(1);
  const char* const given = call.option("timeout");
  const int seconds = given != nullptr ? static_cast<int>(number_value("--timeout", given, 1, 3600)) : 30;
  const JsonTree json = arguments_of(call.argument(2) != nullptr ? call.argument(2) : "{}");
  const std::string what = format("%s %s", object, method);
  Message message;
  message.add(json.get());
  const BusLink bus = connect_bus();
  const Limit limit(static_cast<unsigned>(seconds) + kListSeconds,
                    "Look for ubusd in ps, and start it again.", "the bus's broker did not answer");
  uint32_t id;
  require_success(look_up(bus.get(), object, &id), what.c_str());
  Result result;
  cJSON* const answers = add_array(result.json(), "answers");
  require_success(ubus_invoke(bus.get(), id, method, message.data(), add_answer, answers, seconds * 1000),
                  what.c_str());
  const cJSON* answer = nullptr;
  cJSON_ArrayForEach(answer, answers) result.line("%s", pretty(answer).c_str());
  result.show();
  return kDone;
}

// ---- listen, monitor --------------------------------------------------------------------------------------

Stream* stream = nullptr;  // The library's callbacks have no argument for it.

// Serves the connection until there are to be no more, or the time is over.
int serve(const BusLink& bus) {
  if (!stream->is_counted()) interruption_is_the_end();
  const int64_t end = now_ms() + int64_t{stream->seconds()} * 1000;
  while (!stream->is_complete()) {
    const int64_t left = end - now_ms();
    if (stream->seconds() != 0 && left <= 0) break;
    pollfd wait{bus->sock.fd, POLLIN, 0};
    if (poll(&wait, 1, stream->seconds() != 0 ? static_cast<int>(left) : -1) > 0)
      ubus_handle_event(bus.get());
    if (bus->sock.eof) fail(kFailed, "Start it again, then this.", "the bus's broker has gone");
  }
  return stream->end();
}

void show_event(ubus_context*, ubus_event_handler*, const char* type, blob_attr* message) {
  Result one;
  add_text(one.json(), "event", type);
  cJSON* const data = add_object(one.json(), "data");
  add_fields(data, message);
  one.line("%s  %s", type, compact(data).c_str());
  stream->show(&one);
}

int listen(const Call& call) {
  Stream wanted(call, "event");
  stream = &wanted;
  const BusLink bus = connect_bus();
  ubus_event_handler handler{};
  handler.cb = show_event;
  auto patterns = call.arguments;
  if (patterns.empty()) patterns.push_back("*");
  for (const char* pattern : patterns)
    require_success(ubus_register_event_handler(bus.get(), &handler, pattern), pattern);
  return serve(bus);
}

#ifdef UBUS_SYSTEM_OBJECT_MONITOR

constexpr blob_attr_info rule(unsigned type) {
  blob_attr_info info{};
  info.type = type;
  return info;
}
constexpr blob_attr_info kFrameRules[UBUS_MONITOR_MAX + 1] = {rule(BLOB_ATTR_INT32), rule(BLOB_ATTR_INT32),
                                                              rule(BLOB_ATTR_INT8),  rule(BLOB_ATTR_INT32),
                                                              rule(BLOB_ATTR_INT32), rule(BLOB_ATTR_NESTED)};

// What a frame can hold that says something to people.
constexpr struct {
  unsigned attribute;
  int type;
  const char* name;
} kParts[] = {{UBUS_ATTR_STATUS, BLOB_ATTR_INT32, "status"},
              {UBUS_ATTR_OBJPATH, BLOB_ATTR_STRING, "path"},
              {UBUS_ATTR_OBJID, BLOB_ATTR_INT32, "object"},
              {UBUS_ATTR_METHOD, BLOB_ATTR_STRING, "method"},
              {UBUS_ATTR_DATA, BLOB_ATTR_NESTED, "data"}};

// The broker passes on what clients send, checked or not.
bool is_well_formed(const blob_attr* attribute, int type) {
  const size_t length = blob_len(attribute);
  if (type == BLOB_ATTR_INT32) return length == sizeof(uint32_t);
  return type != BLOB_ATTR_STRING ||
         (length != 0 && static_cast<const char*>(blob_data(attribute))[length - 1] == '\0');
}

void add_part(cJSON* json, const blob_attr* attribute) {
  for (const auto& part : kParts) {
    if (blob_id(attribute) != part.attribute || !is_well_formed(attribute, part.type)) continue;
    if (part.type == BLOB_ATTR_INT32) add_number(json, part.name, blob_get_u32(attribute));
    if (part.type == BLOB_ATTR_STRING)
      add_text(json, part.name, static_cast<const char*>(blob_data(attribute)));
    if (part.type == BLOB_ATTR_NESTED) add_fields(add_object(json, part.name), attribute);
  }
}

void show_frame(ubus_context*, uint32_t, blob_attr* message) {
  static constexpr const char* kTypes[] = {"hello",     "status",      "data",       "ping",
                                           "lookup",    "invoke",      "add object", "remove object",
                                           "subscribe", "unsubscribe", "notify",     "monitor"};
  blob_attr* parts[UBUS_MONITOR_MAX + 1] = {};
  blob_parse_untrusted(message, blob_raw_len(message), parts, kFrameRules, UBUS_MONITOR_MAX + 1);
  for (const blob_attr* part : parts) {
    if (part == nullptr) return;  // of a broker that has another form for it
  }
  const uint32_t type = blob_get_u32(parts[UBUS_MONITOR_TYPE]);
  const uint32_t client = blob_get_u32(parts[UBUS_MONITOR_CLIENT]);
  const bool received = blob_get_u8(parts[UBUS_MONITOR_SEND]) != 0;
  const char* const name = type < std::size(kTypes) ? kTypes[type] : "?";
  Result one;
  add_number(one.json(), "client", client);
  add_text(one.json(), "direction", received ? "to" : "from");
  add_text(one.json(), "type", name);
  add_number(one.json(), "seq", blob_get_u32(parts[UBUS_MONITOR_SEQ]));
  cJSON* const contents = add_object(one.json(), "contents");
  const blob_attr* part = nullptr;
  size_t left = 0;
  blob_for_each_attr(part, parts[UBUS_MONITOR_DATA], left) add_part(contents, part);
  one.line("%s %08x  %-13s %s", received ? "to  " : "from", client, name, compact(contents).c_str());
  stream->show(&one);
}

int monitor(const Call& call) {
  Stream wanted(call, "message");
  stream = &wanted;
  const BusLink bus = connect_bus();
  bus->monitor_cb = show_frame;
  Message nothing;
  require_success(ubus_invoke(bus.get(), UBUS_SYSTEM_OBJECT_MONITOR, "add", nothing.data(), nullptr, nullptr,
                              kListSeconds * 1000),
                  "monitor");
  return serve(bus);
}

#else

int monitor(const Call&) {
  fail(kFailed, "Calls and events can be seen alone: zelctl bus listen",
       "the bus library that zelctl was built with knows no monitor");
}

#endif

constexpr Option kTimeout[] = {{"timeout", "S", "Seconds to wait for the status, 30 unless given"}};
constexpr Option kStream[] = {kCountOption, kForOption};

constexpr Command kCommands[] = {
    {"bus list", "[OBJECT]",
     "Objects on the bus, with -v also their methods and arguments. OBJECT may end in *",
     "zelctl bus list -v", list},
    {"bus call", "OBJECT METHOD [JSON]",
     "Call a method with a message's members, and print the answers as JSON",
     "zelctl --as 2001 cloud serve --answer hello --count 1 & sleep 2; "
     "zelctl bus call zel_2001 send_cmd '{\"msg\": \"hello\"}'",
     call_method, kTimeout},
    {"bus listen", "[PATTERN...]",
     "Print events of the bus as they come, until interrupted: all, or those of the names given, which may "
     "end in *",
     "zelctl bus listen 'ubus.*' --for 1", listen, kStream},
    {"bus monitor", "", "Print all messages of all clients, until interrupted", "zelctl bus monitor --for 1",
     monitor, kStream, true},
};

}  // namespace

constinit const Family kBusFamily = {"bus", "The bus: its objects, calls, events and messages", kCommands};

}  // namespace zelctl
