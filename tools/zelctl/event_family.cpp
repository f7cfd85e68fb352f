// zelctl event: the router's events.
#include <zel/event.h>

#include <ctime>

#include "bus.h"
#include "caller.h"
#include "ending.h"
#include "families.h"
#include "output.h"
#include "stream.h"
#include "text.h"

namespace zelctl {
namespace {

constexpr struct {
  const char* name;
  uint32_t first, last;  // subevents
} kKinds[ZEL_EVENT_COUNT] = {{"disk", 0, 1}, {"wan", 256, 257}, {"home", 512, 512}};
constexpr const char* kKindNames = "disk|wan|home";
constexpr unsigned kSendSeconds = 10;

int send(const Call& call) {
  const size_t event = choice_value("EVENT", call.argument(0), kKindNames);
  const auto subevent =
      static_cast<uint32_t>(number_value("SUB", call.argument(1), kKinds[event].first, kKinds[event].last));
  const char* const text = call.argument(2);
  require_ability(ability_notify_send);
  connect_bus();  // Says what is wrong with it.
  const Limit limit(kSendSeconds, "What is wrong: zelctl doctor",
                    "the bus did not take the event within %u s", kSendSeconds);
  if (const int code = zel_event_send(static_cast<uint32_t>(event), subevent, text); code != 0)
    fail_with(code, kFailed,
              "The broker may not let this user send: see /usr/share/acl.d. The library's words: -v",
              "the bus did not take the event");
  Result result;
  result.text("event", kKinds[event].name);
  result.number("subevent", subevent);
  if (text != nullptr) result.text("data", text);
  result.show();
  return kDone;
}

Stream* stream = nullptr;  // The callback has no argument of its own for it.

// Unix time of what has just come, and the same as people read it.
std::string clock_text(time_t now) {
  char text[16] = "";
  tm local{};
  if (localtime_r(&now, &local) != nullptr) strftime(text, sizeof text, "%H:%M:%S", &local);
  return text;
}

void hear(int32_t subevent, const char* data) {
  const time_t now = time(nullptr);
  const char* const name = kKinds[(subevent >> 8) % ZEL_EVENT_COUNT].name;
  Result one;
  add_number(one.json(), "time", now);
  add_text(one.json(), "event", name);
  add_number(one.json(), "subevent", subevent);
  if (data != nullptr) add_text(one.json(), "data", data);
  one.line("%s  %-4s  %3d  %s", clock_text(now).c_str(), name, subevent, data != nullptr ? data : "");
  if (stream->show(&one)) Service::end();
}

void subscribe(uint32_t event) {
  if (const int code = zel_event_subscribe(event, hear); code != 0)
    fail_with(code, kFailed, "What is wrong: zelctl doctor", "%s events cannot be had", kKinds[event].name);
}

int listen(const Call& call) {
  Stream wanted(call, "event");
  stream = &wanted;
  const bool all = call.arguments.empty();
  bool heard[ZEL_EVENT_COUNT] = {all, all, all};
  for (const char* kind : call.arguments) heard[choice_value("EVENT", kind, kKindNames)] = true;
  require_ability(ability_notify_rcv);
  connect_bus();
  Service service;
  for (uint32_t event = 0; event < ZEL_EVENT_COUNT; ++event) {
    if (heard[event]) subscribe(event);
  }
  // The receiver alone: the cloud object is the plug-in's own, which may be running.
  if (const int code = start_service(nullptr); code != 0)
    fail_with(code, kFailed,
              "The broker may not let this user listen: see /usr/share/acl.d. The library's words: -v",
              "the bus does not give this user events");
  service.wait(wanted.seconds());
  return wanted.end();
}

constexpr Option kStream[] = {kCountOption, kForOption};

constexpr Command kCommands[] = {
    {"event send", "disk|wan|home SUB [TEXT]",
     "Send an event to all plug-ins that listen. SUB is 0 or 1 of disk, 256 or 257 of wan, 512 of home",
     "zelctl event send disk 1 sda1", send},
    {"event listen", "[disk|wan|home...]",
     "Print events as they come, all or those named, until interrupted. With --json a document for each",
     "zelctl --as 2005 event listen wan --for 1", listen, kStream},
};

}  // namespace

constinit const Family kEventFamily = {"event", "Events of disks, WAN link and home network: send, listen",
                                       kCommands};

}  // namespace zelctl
