// The calls of plug-ins against the box's router: which are refused, what its state becomes in the records, and what
// its faults become in the results.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>
#include <zel/router.h>
#include <zel/service.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>

#include "support/captured.h"
#include "support/process.h"
#include "support/router.h"

namespace {

constexpr uid_t kNobody = 10004;  // without abilities, see packages.json

// Records of their own for all of the calls, on the heap, where a sanitizer watches their ends.
struct Records {
  char name[33];
  char id[33];
  zel_wan_speed speed;
  zel_wan_status status;
  zel_wifi_info networks[2];
  zel_partition_info partitions[2];
  int network_count = 2;
  int partition_count = 2;
  char dns[2][ZEL_DNS_SIZE];
};

// Room for records, rightly counted or not.
int* count(int bad, int* right) {
  static int none = 0;
  return bad == 2 ? nullptr : bad == 3 ? &none : right;
}

// The calls, made rightly for 0 and wrongly for numbers up to `bad`.
const struct Call {
  const char* name;
  int (*call)(Records* records, int bad);
  int in_error;  // its result when the router reports error 5; 0 if it does not ask the router
  int ability = 0, argument_line = 0, permission_line = 0, bad = 0;  // of those that are guarded
  const char* complaint = "";
} kCalls[] = {
    {"zel_get_device_name",
     [](Records* r, int bad) { return zel_get_device_name(bad ? nullptr : r->name, sizeof r->name); }, -2, 6,
     32, 36, 1, "NULL name buf\n\n"},
    {"zel_get_device_id",
     [](Records* r, int bad) { return zel_get_device_id(bad ? nullptr : r->id, sizeof r->id); }, 0, 6, 53, 57,
     1, "NULL device_id buf\n\n"},
    {"zel_get_wan_speed", [](Records* r, int bad) { return zel_get_wan_speed(bad ? nullptr : &r->speed); },
     -2, 7, 74, 78, 1, "NULL param\n\n"},
    {"zel_get_wan_status", [](Records* r, int bad) { return zel_get_wan_status(bad ? nullptr : &r->status); },
     -2, 7, 93, 97, 1, "NULL param\n\n"},
    {"zel_get_wifi_info",
     [](Records* r, int bad) {
       return zel_get_wifi_info(bad == 1 ? nullptr : r->networks, count(bad, &r->network_count));
     },
     5, 8, 112, 116, 3, "invalid param\n\n"},
    {"zel_get_partition_info",
     [](Records* r, int bad) {
       return zel_get_partition_info(bad == 1 ? nullptr : r->partitions, count(bad, &r->partition_count));
     },
     5, 14, 131, 135, 3, "invalid param\n\n"},
    {"zel_get_router_dns", [](Records* r, int) { return zel_get_router_dns(r->dns[0], r->dns[1]); }, -2},
    {"zel_set_router_dns", [](Records*, int) { return zel_set_router_dns("9.9.9.9", "8.8.8.8"); }, -2},
    {"zel_reset_router_dns", [](Records*, int) { return zel_reset_router_dns(); }, -2},
};

// What the calls print.
std::string expect_all(Records* records, const std::string& fault, int result) {
  return captured(stdout, [&] {
    for (const auto& c : kCalls) {
      const int expected = c.in_error == 0 ? 0 : result == 5 ? c.in_error : result;
      EXPECT_EQ(c.call(records, 0), expected) << c.name << ": " << fault;
    }
  });
}

// What a refused call logs, without the time, in the long and the short form.
void expect_refused(uid_t uid, const Call& c, int bad, int line, const std::string& message) {
  Records records;
  for (const int debug : {1, 0}) {
    const auto refused = [&] {
      zel_debug = debug;
      return c.call(&records, bad) == -1 ? 0 : 1;
    };
    const std::string log = captured(stderr, [&] { EXPECT_EQ(run_as(uid, refused), 0) << c.name; });
    const std::string place = std::string(c.name) + ":" + std::to_string(line) + " ";
    EXPECT_EQ(log.substr(log.find("[ZRAPI]")), "[ZRAPI] " + (debug != 0 ? place : "") + message + "\n");
  }
}

}  // namespace

TEST(RouterOfTheBox, IsNotAskedForCallsThatAreRefused) {
  for (const auto& c : kCalls) {
    for (int bad = 1; bad <= c.bad; ++bad) expect_refused(kNobody, c, bad, c.argument_line, c.complaint);
    if (c.ability == 0) continue;
    const std::string permission = "NO permission: app(1004) perm(" + std::to_string(c.ability) + ")!\n";
    expect_refused(kNobody, c, 0, c.permission_line, permission);
    expect_refused(12345, c, 0, c.permission_line, "invalid app!\n");
  }
  EXPECT_EQ(test::router_log(), "");
}

TEST(RouterOfTheBox, ReportsItsStateAndKeepsTheDnsServersItIsGiven) {
  Records r;
  expect_all(&r, "none", 0);
  EXPECT_STREQ(r.name, "Home");
  EXPECT_EQ(r.speed.PeakUploadRate, 1900);
  EXPECT_STREQ(r.status.WAN_IP, "203.0.113.24");
  EXPECT_STREQ(r.networks[1].WIFI_SSID, "Home 5G");
  EXPECT_STREQ(r.partitions[1].UUID, "6A3C-91F0");
  EXPECT_STREQ(r.dns[0], "192.0.2.53");
  captured(stdout, [&] {
    for (const char* type : {"0", "2"}) {
      test::change_router_state(std::string(R"({"WAN": {"WAN_Type": )") + type + "}}");
      for (const char* server : {"9.9.9.9", ""}) {
        EXPECT_EQ(*server != '\0' ? zel_set_router_dns(server, server) : zel_reset_router_dns(), 0);
        EXPECT_EQ(zel_get_router_dns(r.dns[0], r.dns[1]), 0);
        EXPECT_STREQ(r.dns[0], server) << type;
        EXPECT_STREQ(r.dns[1], server) << type;
      }
    }
  });
}

TEST(RouterOfTheBox, FailsEachCallWithEachFaultAndNoneAfterwards) {
  const struct {
    const char* fault;
    int result;
    const char* says;
  } kFaults[] = {
      {R"("kind": "delay", "ms": 50)", 0, ""},
      {R"("kind": "trickle", "ms": 1)", 0, ""},
      {R"("kind": "error", "code": 5, "text": "%s%n")", 5, "[vendor_get_wan_status]%s%n\n"},
      {R"("kind": "error", "code": -5, "text": "no")", -2, "[vendor_get_wan_status]no\n"},
      {R"("kind": "cut")", -2, R"([vendor_get_wan_status]HttpGet res[{"ResponseHeader":{"] parse FAIL!)"},
      {R"("kind": "garbage", "text": "<%n>")", -2, "[vendor_get_wan_status]HttpGet res[<%n>] parse FAIL!"},
      {R"("kind": "types")", -2, "[get_cjson_item]parse type[3] key[WAN_NET] FAIL!"},
      {R"("kind": "oversize")", -2, "[vendor_get_wan_status]HttpGet res[{"},
      {R"("kind": "http500")", -2, "HttpGet excute FAIL! req_url["}};
  const auto records = std::make_unique<Records>();
  for (const auto& c : kFaults) {
    test::set_router_fault(std::string(R"({"method": "*", )") + c.fault + "}");
    const std::string output = expect_all(records.get(), c.fault, c.result);
    EXPECT_NE(output.find(c.says), std::string::npos) << c.fault << output;
    test::http("DELETE", "/box/fault");
  }
  expect_all(records.get(), "none any more", 0);
  // Its own time-out ends the wait for a router that says nothing.
  test::set_router_fault(R"({"method": "*", "kind": "hang"})");
  const auto start = std::chrono::steady_clock::now();
  captured(stdout, [&] { EXPECT_EQ(zel_get_wan_status(&records->status), -2); });
  const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - start;
  EXPECT_GT(waited.count(), 9.9);
  EXPECT_LT(waited.count(), 15);
}

TEST(RouterOfTheBox, LetsEveryPluginAskForTheDnsServers) {
  ASSERT_EQ(setuid(kNobody), 0);
  Records r;
  captured(stdout, [&] { EXPECT_EQ(zel_get_router_dns(r.dns[0], r.dns[1]), 0); });
}

TEST(RouterOfTheBox, LeavesTheIdentityOfARealDeviceToTheRealBlkid) {
  // A folder of /dev that is this box's alone.
  ASSERT_EQ(mount("tmpfs", "/dev/shm", "tmpfs", 0, nullptr), 0);
  ASSERT_EQ(system("truncate -s 1M /dev/shm/disk && PATH=$PATH:/usr/sbin:/sbin"
                   " mkswap -U 1b2e6f70-0000-4c5e-8a41-7f1d2c3b4a59 /dev/shm/disk >/dev/null 2>&1"),
            0);
  test::change_router_state(
      R"({"DiskInfo": [{"Partition": "shm/disk", "Used": "1", "Available": "2", "UUID": "the router's"}]})");
  zel_partition_info partition;
  int count = 1;
  captured(stdout, [&] { EXPECT_EQ(zel_get_partition_info(&partition, &count), 0); });
  EXPECT_STREQ(partition.UUID, "1b2e6f70-0000-4c5e-8a41-7f1d2c3b4a59");
}
