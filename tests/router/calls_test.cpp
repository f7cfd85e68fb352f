// The calls of plug-ins: which are refused and how that is logged, and what becomes of the queries' results.
#include <gtest/gtest.h>
#include <unistd.h>
#include <zel/router.h>
#include <zel/service.h>

#include <string>

#include "router/router.h"
#include "support/captured.h"
#include "support/process.h"

namespace {

constexpr uid_t kAll = 10001;     // See packages.json: all abilities,
constexpr uid_t kNobody = 10004;  // and none.

char text[9];
zel_wan_speed speed;
zel_wan_status status;
zel_wifi_info networks[2];
zel_partition_info partitions[2];
int none = 0;
int two = 2;

int* count(int bad) {
  return bad == 2 ? nullptr : bad == 3 ? &none : &two;
}

// Each guarded call, rightly called for 0 and wrongly for other numbers.
const struct Call {
  const char* name;
  int (*call)(int bad);
  int ability, argument_line, permission_line, bad;
  const char* complaint;
} kCalls[] = {
    {"zel_get_device_name", [](int bad) { return zel_get_device_name(bad ? nullptr : text, 8); }, 6, 32, 36,
     1, "NULL name buf\n\n"},
    {"zel_get_device_id", [](int bad) { return zel_get_device_id(bad ? nullptr : text, 8); }, 6, 53, 57, 1,
     "NULL device_id buf\n\n"},
    {"zel_get_wan_speed", [](int bad) { return zel_get_wan_speed(bad ? nullptr : &speed); }, 7, 74, 78, 1,
     "NULL param\n\n"},
    {"zel_get_wan_status", [](int bad) { return zel_get_wan_status(bad ? nullptr : &status); }, 7, 93, 97, 1,
     "NULL param\n\n"},
    {"zel_get_wifi_info",
     [](int bad) { return zel_get_wifi_info(bad == 1 ? nullptr : networks, count(bad)); }, 8, 112, 116, 3,
     "invalid param\n\n"},
    {"zel_get_partition_info",
     [](int bad) { return zel_get_partition_info(bad == 1 ? nullptr : partitions, count(bad)); }, 14, 131,
     135, 3, "invalid param\n\n"},
};

// What a refused call logs, without the time, in the long and the short form.
void expect_refused(uid_t uid, const Call& c, int bad, int line, const std::string& message) {
  for (const int debug : {1, 0}) {
    const auto refused = [&] {
      zel_debug = debug;
      return c.call(bad) == -1 ? 0 : 1;
    };
    const std::string log = captured(stderr, [&] { EXPECT_EQ(run_as(uid, refused), 0); });
    const std::string place = std::string(c.name) + ":" + std::to_string(line) + " ";
    EXPECT_EQ(log.substr(log.find("[ZRAPI]")), "[ZRAPI] " + (debug != 0 ? place : "") + message + "\n");
  }
}

}  // namespace

TEST(RouterCalls, AreRefusedBeforeTheRouterIsAsked) {
  const Router router({""});
  for (const auto& c : kCalls) {
    for (int bad = 1; bad <= c.bad; ++bad) expect_refused(kNobody, c, bad, c.argument_line, c.complaint);
    const std::string permission = "NO permission: app(1004) perm(" + std::to_string(c.ability) + ")!\n";
    expect_refused(kNobody, c, 0, c.permission_line, permission);
    expect_refused(12345, c, 0, c.permission_line, "invalid app!\n");
  }
  EXPECT_TRUE(router.methods().empty());
}

TEST(RouterCalls, EndANameThatWasCut) {
  ASSERT_EQ(setuid(kAll), 0);
  const Router router({good(
      R"("WIFIStatus":[{"WIFI_SSID":"twenty characters..","WIFI_WirelessFrequency":"2.4","WIFI_Status":0}])")});
  captured(stdout, [] {
    text[8] = '!';
    EXPECT_EQ(zel_get_device_name(text, 8), 0);
    EXPECT_STREQ(text, "twenty ");
    EXPECT_EQ(text[8], '!');
    for (const int length : {0, -1}) EXPECT_EQ(zel_get_device_name(text, length), -1);
    EXPECT_STREQ(text, "twenty ");
    EXPECT_EQ(zel_get_wifi_info(networks, &two), 0);
    EXPECT_EQ(two, 1);
  });
}
