// Plug-ins of several users inside a router box, telling each other what happened.
#include <gtest/gtest.h>
#include <libubox/blobmsg.h>
#include <libubus.h>
#include <unistd.h>
#include <zel/event.h>
#include <zel/service.h>

#include <functional>
#include <string>

#include "support/captured.h"
#include "support/process.h"

namespace {

constexpr uid_t kAll = 10001;       // See packages.json: all abilities,
constexpr uid_t kListener = 10003;  // 5 alone,
constexpr uid_t kNobody = 10004;    // and none.

int heard[2];  // What callbacks were called with, a line each.

void hear(int32_t subevent, const char* data) {
  dprintf(heard[1], "%d:%s\n", subevent, data ? data : "(null)");
}

std::string next_line() {
  std::string line;
  for (char byte; read(heard[0], &byte, 1) == 1 && byte != '\n';) line += byte;
  return line;
}

class Event : public testing::Test {
 protected:
  Event() {
    zel_debug = 0;
    EXPECT_EQ(pipe(heard), 0);
  }
};

// A plug-in that hears all three events.
int listen(const Process::Self& self) {
  if (zel_service_init() != 0) return 1;
  for (uint32_t event = 0; event < 3; ++event) {
    if (zel_event_subscribe(event, hear) != 0) return 2;
  }
  self.ready();
  self.wait_for_end();
  return 0;
}

using Send = std::function<int()>;

}  // namespace

TEST_F(Event, OfEachKindReachesItsCallbackInAnotherUsersPlugin) {
  const Process listener(kListener, listen);
  EXPECT_EQ(run_as(kAll,
                   [] {
                     const std::string hostile(4000, '%');
                     return zel_event_send_disk(1, "sda1") + zel_event_send_wan(257, "") +
                            zel_event_send_home(512, hostile.c_str()) + zel_event_send(1, 256, nullptr);
                   }),
            0);
  EXPECT_EQ(next_line(), "1:sda1");
  EXPECT_EQ(next_line(), "257:");
  EXPECT_EQ(next_line(), "512:" + std::string(4000, '%'));
  EXPECT_EQ(next_line(), "256:(null)");
}

TEST_F(Event, OfAnotherShapeNeverReachesACallback) {
  const Process listener(kListener, listen);
  static const struct {
    const char* why;
    void (*fill)(blob_buf*);
    const char* heard;
  } kCases[] = {
      {"nothing at all", [](blob_buf*) {}, ""},
      {"subevent of another event",
       [](blob_buf* b) {
         blobmsg_add_u32(b, "event", 1);
         blobmsg_add_u32(b, "subevent", 0);
       },
       ""},
      {"negative but matching",
       [](blob_buf* b) {
         blobmsg_add_u32(b, "event", 0xFFFFFFFF);
         blobmsg_add_u32(b, "subevent", 0xFFFFFF00);
       },
       ""},
      {"numbers as texts",
       [](blob_buf* b) {
         blobmsg_add_string(b, "event", "%s");
         blobmsg_add_string(b, "subevent", "%n");
         blobmsg_add_string(b, "data", std::string(65536, '%').c_str());
       },
       ""},
      {"data of another type, and more than asked for",
       [](blob_buf* b) {
         blobmsg_add_u32(b, "event", 2);
         blobmsg_add_u32(b, "subevent", 512);
         blobmsg_add_u64(b, "data", 1);
         blobmsg_add_string(b, "more", "x");
       },
       "512:(null)"},
  };
  ubus_context* const bus = ubus_connect(nullptr);
  for (const auto& c : kCases) {
    blob_buf message{};
    blob_buf_init(&message, 0);
    c.fill(&message);
    EXPECT_EQ(ubus_send_event(bus, "zel.event", message.head), 0);
    blob_buf_free(&message);
    run_as(kAll, [] { return zel_event_send_disk(0, "after it"); });
    const std::string line = next_line();
    EXPECT_EQ(line, *c.heard != '\0' ? c.heard : "0:after it") << c.why;
    EXPECT_EQ(line != "0:after it" ? next_line() : line, "0:after it") << c.why;
  }
  ubus_free(bus);
}

TEST_F(Event, CallsSayWhyTheyRefuse) {
  static const struct {
    uid_t uid;
    Send send;
    int result;
    const char* log;
  } kCases[] = {
      {kAll, [] { return zel_event_send(3, 768, "d"); }, -1, "invalid event\n\n"},
      {kAll, [] { return zel_event_send_disk(2, "d"); }, -1, "subev is invalid!\n"},
      {kAll, [] { return zel_event_send_wan(255, nullptr); }, -1, "subev is invalid!\n"},
      {kAll, [] { return zel_event_send_wan(256, nullptr); }, -1, "wan is NULL\n\n"},
      {kAll, [] { return zel_event_send_disk(0, nullptr); }, -1, "disk is NULL\n\n"},
      {kAll, [] { return zel_event_send_home(512, nullptr); }, -1, "home is NULL\n\n"},
      {kAll, [] { return zel_event_subscribe(3, hear); }, -1, "invalid event or NULL cb\n\n"},
      {kAll, [] { return zel_event_subscribe(0, nullptr); }, -1, "invalid event or NULL cb\n\n"},
      {kAll, [] { return zel_event_unsubscribe(3); }, -1, "invalid event\n\n"},
      {kAll, [] { return zel_event_unsubscribe(1); }, 0, "unsubscribed event: ZEL_EVENT_WAN!\n\n"},
      {kNobody, [] { return zel_event_subscribe(0, hear); }, -1, "NO permission: app(1004) perm(5)!\n"},
      {kNobody, [] { return zel_event_send_disk(0, "d"); }, -1, "NO permission: app(1004) perm(4)!\n"},
      {kListener, [] { return zel_event_send_home(512, "d"); }, 0, "NO permission: app(1003) perm(4)!\n"},
      {12345, [] { return zel_event_send_disk(0, "d"); }, -1, "invalid app!\n"},
  };
  for (const auto& c : kCases) {
    const std::string log = captured(
        stderr, [&] { EXPECT_EQ(run_as(c.uid, [&] { return c.send() == c.result ? 0 : 1; }), 0) << c.log; });
    EXPECT_EQ(log.substr(log.find("[ZE] ") + 5), std::string(c.log) + "\n");
  }
}
