// Plug-ins of several users inside a router box, telling each other what happened.
#include <gtest/gtest.h>
#include <unistd.h>
#include <zel/event.h>
#include <zel/service.h>

#include <functional>
#include <string>

#include "bus/libubus.h"
#include "support/captured.h"
#include "support/process.h"

namespace {

constexpr uid_t kAll = 10001;       // See packages.json: all abilities,
constexpr uid_t kListener = 10003;  // 5 alone,
constexpr uid_t kNobody = 10004;    // and none.

int lines[2];  // What callbacks were called with, a line each.

void hear(int32_t subevent, const char* data) {
  dprintf(lines[1], "%d:%s\n", subevent, data ? data : "(null)");
}

std::string next_line() {
  std::string line;
  for (char byte; read(lines[0], &byte, 1) == 1 && byte != '\n';) line += byte;
  return line;
}

class Event : public testing::Test {
 protected:
  Event() {
    zel_debug = 0;
    EXPECT_EQ(pipe(lines), 0);
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

// A log without the source lines of its long forms.
std::string without_lines(std::string log) {
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  const size_t colon = log.find(':');
  if (colon == std::string::npos || !is_digit(log[colon + 1])) return log;
  size_t end = colon + 1;
  while (is_digit(log[end])) ++end;
  return log.erase(colon + 1, end - colon - 1);
}

}  // namespace

// Stands in for the system's, and shows the level beside the text.
extern "C" void syslog(int priority, const char*, ...) {
  dprintf(STDERR_FILENO, "<%d>", priority);
}
// What it is called where the C library checks formats.
extern "C" void __syslog_chk(int priority, int, const char*, ...) {
  dprintf(STDERR_FILENO, "<%d>", priority);
}

TEST_F(Event, OfEachKindReachesItsCallbackInAnotherUsersPlugin) {
  const Process listener(kListener, listen);
  const std::string hostile(65536, '%');
  const Send sends[] = {[] { return zel_event_send_disk(1, "sda1"); },
                        [] { return zel_event_send_wan(257, ""); },
                        [&] { return zel_event_send_home(512, hostile.c_str()); },
                        [] { return zel_event_send(1, 256, nullptr); }};
  for (const Send& send : sends) EXPECT_EQ(run_as(kAll, send), 0) << &send - sends;
  // In the frame: 64 bytes around the fields, 49 of their heads, names, numbers and the text's NUL.
  const std::string largest((1 << 20) - 256 - 64 - 49, 'x');
  EXPECT_EQ(run_as(kAll, [&] { return zel_event_send_disk(0, largest.c_str()); }), 0);
  EXPECT_EQ(run_as(kAll, [&] { return zel_event_send_disk(0, (largest + "x").c_str()) + 1; }), 0);
  EXPECT_EQ(next_line(), "1:sda1");
  EXPECT_EQ(next_line(), "257:");
  EXPECT_EQ(next_line(), "512:" + hostile);
  EXPECT_EQ(next_line(), "256:(null)");
  EXPECT_EQ(next_line(), "0:" + largest);
}

TEST_F(Event, OfAnotherShapeNeverReachesACallback) {
  static const struct {
    const char* why;
    void (*fill)(blob_buf*);
    const char* line;
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
  const std::string log = captured(stderr, [] {
    const Process listener(kListener, listen);
    ubus_context* const bus = ubus_connect(nullptr);
    for (const auto& c : kCases) {
      blob_buf message{};
      blob_buf_init(&message, 0);
      c.fill(&message);
      EXPECT_EQ(ubus_send_event(bus, "zel.event", message.head), 0);
      blob_buf_free(&message);
      run_as(kAll, [] { return zel_event_send_disk(0, "after it"); });
      const std::string line = next_line();
      EXPECT_EQ(line, *c.line != '\0' ? c.line : "0:after it") << c.why;
      EXPECT_EQ(line != "0:after it" ? next_line() : line, "0:after it") << c.why;
    }
    ubus_free(bus);
  });
  for (const char* said : {"[ZE] unmatch (event:1 - subev:0), data:(null)\n\n",
                           "[ZE] UNKNOWN event:3, subev:768, data:(null)\n\n"}) {
    EXPECT_NE(log.find(said), std::string::npos) << said;
  }
}

TEST_F(Event, CallsSayWhyTheyRefuse) {
  static const struct {
    uid_t uid;
    const char* who;
    Send call;
    int result;
    const char* log;
    int level;
  } kCases[] = {
      {kNobody, "zel_event_send", [] { return zel_event_send(3, 768, "d"); }, -1, "invalid event\n\n", 3},
      {kAll, "zel_event_send_disk", [] { return zel_event_send_disk(2, "d"); }, -1, "subev is invalid!\n", 3},
      {kAll, "zel_event_send_wan", [] { return zel_event_send_wan(255, nullptr); }, -1, "subev is invalid!\n",
       3},
      {kAll, "zel_event_send_wan", [] { return zel_event_send_wan(258, "d"); }, -1, "subev is invalid!\n", 3},
      {kAll, "zel_event_send_home", [] { return zel_event_send_home(513, "d"); }, -1, "subev is invalid!\n",
       3},
      {kAll, "zel_event_send_wan", [] { return zel_event_send_wan(256, nullptr); }, -1, "wan is NULL\n\n", 3},
      {kAll, "zel_event_send_disk", [] { return zel_event_send_disk(0, nullptr); }, -1, "disk is NULL\n\n",
       3},
      {kAll, "zel_event_send_home", [] { return zel_event_send_home(512, nullptr); }, -1, "home is NULL\n\n",
       3},
      {kNobody, "zel_event_subscribe", [] { return zel_event_subscribe(3, hear); }, -1,
       "invalid event or NULL cb\n\n", 3},
      {kNobody, "zel_event_subscribe", [] { return zel_event_subscribe(0, nullptr); }, -1,
       "invalid event or NULL cb\n\n", 3},
      {kNobody, "zel_event_unsubscribe", [] { return zel_event_unsubscribe(3); }, -1, "invalid event\n\n", 3},
      {kAll, "zel_event_unsubscribe", [] { return zel_event_unsubscribe(1); }, 0,
       "unsubscribed event: ZEL_EVENT_WAN!\n\n", 6},
      {kNobody, "zel_event_subscribe", [] { return zel_event_subscribe(0, hear); }, -1,
       "NO permission: app(1004) perm(5)!\n", 3},
      {kNobody, "zel_event_send", [] { return zel_event_send_disk(0, "d"); }, -1,
       "NO permission: app(1004) perm(4)!\n", 3},
      {kListener, "zel_event_send", [] { return zel_event_send_home(512, "d"); }, 0,
       "NO permission: app(1003) perm(4)!\n", 3},
      {12345, "zel_event_send", [] { return zel_event_send_disk(0, "d"); }, -1, "invalid app!\n", 3},
  };
  for (const auto& c : kCases) {
    for (const int debug : {0, 1}) {
      const std::string log = captured(stderr, [&] {
        zel_debug = debug;
        EXPECT_EQ(run_as(c.uid, [&] { return c.call() == c.result ? 0 : 1; }), 0) << c.log;
      });
      const std::string place = debug != 0 ? std::string(c.who) + ": " : "";
      EXPECT_EQ(without_lines(log.substr(log.find("[ZE] "))),
                "[ZE] " + place + c.log + "\n<" + std::to_string(c.level) + ">");
    }
  }
}

TEST_F(Event, GoesToTheLastCallbackSubscribedAndToNoneOnceThatIsTakenBack) {
  ASSERT_EQ(zel_event_init(), 0);  // Early: start-up begins the loop anew.
  ASSERT_EQ(zel_service_init(), 0);
  zel_event_subscribe(0, hear);
  zel_event_subscribe(0, [](int32_t, const char*) { zel_event_send_home(512, "from a callback"); });
  zel_event_subscribe(2, hear);
  zel_event_send_disk(0, "replaced");
  EXPECT_EQ(next_line(), "512:from a callback");
  zel_event_unsubscribe(0);
  zel_event_send_disk(0, "unheard");
  zel_event_send_home(512, "heard");
  EXPECT_EQ(next_line(), "512:heard");
}
